#!/bin/sh
# zsh completes a command, a name that has a blank, and nothing without a service.
# Usage: complete_zsh.sh BIN_DIR COMPLETION_DIR
set -eu
command -v zsh ||
  { echo "complete_zsh: Skipped"; echo "there is no zsh"; exit 77; }
zsh -f -c 'zmodload zsh/zpty; zpty probe true' ||
  { echo "complete_zsh: Skipped"; echo "there are no pseudo terminals"; exit 77; }
dir=$(mktemp -d)
service=
finish() {
  [ -z "$service" ] || kill "$service" 2>/dev/null || true
  rm -rf "$dir"
}
trap finish EXIT
export PATH="$1:$PATH" HQOS_RUNTIME_DIR="$dir"
hqosd --ephemeral 2>"$dir/log" &
service=$!
until hqosctl sp add 'my sp' 2>"$dir/err"; do
  kill -0 "$service" || { cat "$dir/log"; exit 1; }
  sleep 0.01
done

# Types a line and a tab into a zsh, and prints what becomes of the line.
cat >"$dir/type" <<'END'
zmodload zsh/zpty
zpty shell "TERM=dumb PS1= zsh -f -i"
zpty -w shell "stty -echo; PROMPT=; unsetopt zle_bracketed_paste 2>/dev/null; fpath=($2 \$fpath)"
zpty -w shell 'autoload -Uz compinit; compinit -u -D; bindkey "^X" show; zle -N show'
zpty -w shell 'show() { print -r -- "<$BUFFER>"; zle send-break }; print READY'
zpty -r shell text '*READY*'
zpty -w -n shell "$1"$'\t'$'\C-X'
zpty -r shell text '*<*>*'
print -r -- "${${text##*<}%%>*}"
END
expect() {
  got=$(timeout 20 zsh -f "$dir/type" "$1" "$2")
  [ "$got" = "$3" ] || { echo "$1 became $got instead of $3"; exit 1; }
}
expect 'hqosctl tre' "$2" 'hqosctl tree '
expect 'hqosctl sp show my' "$2" 'hqosctl sp show my\ sp '
kill "$service"
wait "$service" || true
service=
expect 'hqosctl sp show my' "$2" 'hqosctl sp show my'
