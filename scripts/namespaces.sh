# shellcheck shell=sh
# For scripts that shape traffic in network namespaces of their own.

# Prints why this machine does not let them; nothing when it does.
why_no_namespaces() {
  case " ${HQOS_WITHOUT-} " in *" namespaces "*) echo "HQOS_WITHOUT says so"; return ;; esac
  for program in unshare ip tc python3; do
    command -v "$program" >/dev/null || { echo "there is no program $program"; return; }
  done
  unshare --map-root-user --net --mount true 2>&1 || return 0
  # shellcheck disable=SC2016 # for the shell inside
  unshare --map-root-user --net --mount sh -c '
    try() { "$@" 2>&1 || { echo "this fails: $*"; exit; }; }
    try ip link add va type veth peer name vb
    try tc qdisc add dev va root handle 1: htb
    try tc filter add dev va parent 1: bpf bytecode "1,6 0 0 0" classid 1:1
  ' | tr '\n' ' '
}

# Runs a command with new network and mount namespaces, as root of a user namespace.
in_namespaces() {
  unshare --map-root-user --net --mount "$@"
}
