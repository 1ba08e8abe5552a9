# shellcheck shell=sh
# For scripts that replay sessions of a shell: play <SESSION prints what a session would be now. Needs
# a directory of its own to run in.
#
# In a session "$ " begins a command, ">" continues it and "# " begins a comment; below a command are
# its standard output, its standard error after $error_mark, and "? " with its exit status unless that
# is 0 or $shows_status is "no". "..." in a written line stands for any text of that line.
: "${error_mark=! }" "${shows_status=yes}"
command=

# Prints the lines of standard input; one that matches the line written at its place as that is written.
as_written() {
  while IFS= read -r line; do
    IFS= read -r written <&3 || written=
    case $written in
      *...*)
        pattern=$(printf '%s\n' "$written" | sed 's/[[*?]/[&]/g; s/\.\.\./*/g')
        # shellcheck disable=SC2254 # the pattern is meant as one
        case $line in $pattern) line=$written ;; esac
        ;;
    esac
    printf '%s\n' "$line"
  done
}

run() {
  [ -n "$command" ] || return 0
  status=0
  eval "$command" >out 2>err </dev/null || status=$?
  {
    cat out
    sed "s/^/$error_mark/" err
    [ "$status" = 0 ] || [ "$shows_status" = no ] || echo "? $status"
  } | as_written 3<written
  command=
}

play() {
  : >written
  while IFS= read -r session_line; do
    case $session_line in
      '$ '*)
        run
        command=${session_line#??}
        : >written
        ;;
      '>'*) command="$command
${session_line#>}" ;;
      '#'*) run ;;
      *)
        printf '%s\n' "$session_line" >>written
        continue
        ;;
    esac
    printf '%s\n' "$session_line"
  done
  run
}
