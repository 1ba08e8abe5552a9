# shellcheck shell=sh
# For scripts that shape traffic in network namespaces of their own.

# Runs a command as root with new network and mount namespaces: those of a user namespace, unless it
# is root that runs this.
in_namespaces() {
  if [ "$(id -u)" = 0 ] && unshare --net --mount true 2>/dev/null; then
    unshare --net --mount "$@"
  else
    unshare --map-root-user --net --mount "$@"
  fi
}

# Prints why this machine does not let them; nothing when it does. $HQOS_WITHOUT may name them.
why_no_namespaces() {
  case " ${HQOS_WITHOUT-} " in *" namespaces "*) echo "HQOS_WITHOUT says so"; return ;; esac
  for program in unshare ip tc python3; do
    command -v "$program" >/dev/null || { echo "there is no program $program"; return; }
  done
  # shellcheck disable=SC2016 # for the shell inside
  in_namespaces sh -c '
    try() { "$@" || { echo "this fails: $*"; exit; }; }
    try ip link add va type veth peer name vb
    try tc qdisc add dev va root handle 1: htb
    try tc filter add dev va parent 1: bpf bytecode "1,6 0 0 0" classid 1:1
  ' 2>&1 | tr '\n' ' '
}
