#!/bin/sh
# The library for the real platform builds from the same sources and asks it for exactly the
# operations listed here. What the compiler's start-up files look for on their own is weak; the C
# library's own name of sscanf is __isoc99_sscanf.
# Usage: real_platform.sh SOURCE_DIR COMPILER_FLAGS
set -eu
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

{
  cmake -S "$1" -B "$dir" -G Ninja -DHQOS_REAL_PLATFORM=ON -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
    -DCMAKE_CXX_FLAGS_RELEASE=-O2 -DCMAKE_CXX_FLAGS="$2" -DCMAKE_C_FLAGS="$2" &&
    cmake --build "$dir"
} >"$dir/log" 2>&1 || { cat "$dir/log"; exit 1; }

tr ' ' '\n' <<'LIST' | sort >"$dir/expected"
Bitmap_And Bitmap_CreateFromBuffer Bitmap_GetRange Bitmap_IsEmpty Bitmap_IsEqual Bitmap_SetRange
DEV_GetPhysicalSlotByGlobalSlot DEV_GetSelfSlot DEV_GetSlotRange LIP_GetNodeLip
IF_GetDataByIfIndex IF_IsSlotUp IF_SelectProperty_Set IF_SelectType_Set IF_Select_Init
RAND_bytes RAND_seed SERVICE_BatchStart SERVICE_GetStatus SERVICE_Start
STLV_Get STLV_Set VLAN_GetMaxVlanID VLAN_GetMinVlanID
__errno_location calloc close connect free recv scnprintf send socket sscanf strlcpy time
LIST
nm -D --undefined-only "$dir/lib/libhqos.so" |
  awk '$1 == "U" { sub(/@.*/, "", $2); sub(/^__isoc99_/, "", $2); print $2 }' | sort >"$dir/undefined"
diff "$dir/expected" "$dir/undefined"
[ ! -e "$dir/lib/libhqos-platform.so" ]
