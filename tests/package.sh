#!/bin/sh
# The packages build in a clean chroot, and another one installs, uses, upgrades, removes and purges
# them. Prints how long that takes and how large they are.
# Usage: package.sh DIRECTORY, whose hqos/ has the sources; scripts/package --try
# shellcheck disable=SC2016 # what chroots expand is quoted
set -eu
dir=$(realpath "$1")
for need in debootstrap unshare; do
  command -v "$need" >/dev/null || { echo "skipped: there is no $need"; exit 77; }
done
[ "$(id -u)" -eq 0 ] || { echo "skipped: only root can make a chroot"; exit 77; }
suite=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
mirror=$(apt-get indextargets --format "\$(ORIGIN) \$(RELEASE) \$(COMPONENT) \$(REPO_URI)" |
  awk -v suite="$suite" '$1 == "Debian" && $2 == suite && $3 == "main" { print $4; exit }')
[ -n "$mirror" ] || { echo "skipped: this machine has no Debian mirror for $suite"; exit 77; }

# Runs a command in a chroot whose processes and mounts end with it: CHROOT COMMAND...
inside() {
  root=$dir/$1
  shift
  DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 unshare --mount --pid --fork --kill-child sh -ec '
    root=$1
    shift
    mount --bind "$root" "$root"
    mount -t proc proc "$root/proc"
    mount -t devpts devpts "$root/dev/pts"
    exec chroot "$root" "$@"' sh "$root" "$@" >>"$dir/log" 2>&1 ||
    { tail -40 "$dir/log"; echo "failed: $*"; exit 1; }
}
minutes() {
  awk -v seconds="$(($(date +%s) - begin))" 'BEGIN { printf "%.1f minutes", seconds / 60 }'
}

debootstrap --variant=minbase "$suite" "$dir/try" "$mirror" >"$dir/log" 2>&1 ||
  { tail "$dir/log"; exit 1; }
cp -a "$dir/try" "$dir/build"

begin=$(date +%s)
mkdir "$dir/build/src"
cp -a "$dir/hqos" "$dir/build/src"
inside build sh -ec 'cd /src/hqos; apt-get -qq update; apt-get -qq -y --no-install-recommends build-dep .'
echo "build dependencies after $(minutes)"
inside build sh -ec 'cd /src/hqos; dpkg-buildpackage -b -us -uc'
echo "built and tested after $(minutes)"
mkdir "$dir/try/packages" "$dir/try/previous"
cp "$dir"/build/src/*.deb "$dir/try/packages"
rm "$dir"/try/packages/*-dbgsym_*
inside build sh -ec 'apt-get -qq -y --no-install-recommends install /src/libhqos[1-]*.deb
  cd /usr/share/doc/libhqos-dev/examples; cc add_sp.c $(pkg-config --cflags --libs hqos) -o /example'

# The same packages, as an older version.
for package in "$dir"/try/packages/*.deb; do
  rm -rf "$dir/unpacked"
  dpkg-deb -R "$package" "$dir/unpacked"
  version=$(dpkg-deb -f "$package" Version)
  sed -i "s/$version/$version~previous/" "$dir/unpacked/DEBIAN/control"
  dpkg-deb --root-owner-group -b "$dir/unpacked" "$dir/try/previous" >>"$dir/log"
done

cat >"$dir/try/serve" <<'END'
# Serves as the units do.
rm -f /log  # of the last one
mkdir -p /run/hqos
install -d -o hqos -g hqos -m 700 /var/lib/hqos
HQOS_STATE_DIR=/var/lib/hqos systemd-socket-activate -E HQOS_STATE_DIR --seqpacket \
  -l /run/hqos/lip-80000000-1174 \
  setpriv --reuid hqos --regid hqos --clear-groups hqosd 2>/log &
until grep -q Listening /log; do sleep 0.1; done
chmod 666 /run/hqos/lip-80000000-1174
END
inside try sh -ec 'apt-get -qq update
  apt-get -qq -y --no-install-recommends install /previous/*.deb'
inside try sh -ec '. /serve; hqosctl sp add gold; hqosctl sp show; ls -l /var/lib/hqos'
begin=$(date +%s)
inside try sh -ec 'apt-get -qq -y install /packages/*.deb
  ! dpkg-query -W | grep previous'
echo "upgraded after $(minutes)"
inside try sh -ec '. /serve; hqosctl sp show | grep gold; hqosctl --version
  setpriv --reuid 65534 --regid 65534 --clear-groups hqosctl sp show gold
  ! setpriv --reuid 65534 --regid 65534 --clear-groups hqosctl sp add tin'
inside try dpkg --verify hqos libhqos1 libhqos-dev
dpkg-query --admindir="$dir/try/var/lib/dpkg" -W \
  -f "\${Package}: \${Installed-Size} kB installed\n" hqos libhqos1 libhqos-dev
inside try sh -ec 'apt-get -qq -y remove hqos libhqos1 libhqos-dev
  test -e /var/lib/hqos/hqosd.db -a -e /etc/default/hqos -a ! -e /usr/bin/hqosd -a ! -e /run/hqos'
inside try sh -ec 'dpkg --purge hqos libhqos1 libhqos-dev
  left=$(find / -xdev \( -path /proc -o -path /packages -o -path /previous \) -prune -o \
    -name "*hqos*" -print)
  test -z "$left" || { echo "left: $left"; exit 1; }'
