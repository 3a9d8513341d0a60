# Shared by the tests with real clients: a server in a folder of its own, and checks.
# shellcheck shell=bash
set -euo pipefail

work=$(mktemp -d)
root=$work/www
mkdir "$root"
servers=()
failures=0

end() {
  local status=$? pid
  for pid in "${servers[@]}"; do
    kill "$pid" 2>/dev/null || true
    wait "$pid" || { echo "the server ended with status $?" && status=1; }
  done
  [ "$status" -eq 77 ] || cat "$work"/*.err 2>/dev/null || true
  rm -rf "$work"
  exit "$status"
}
trap end EXIT

skip() {
  echo "skipped: $*"
  exit 77
}

# need COMMAND...: skips the test when one of them is missing.
need() {
  local command
  for command in "$@"; do
    command -v "$command" >/dev/null || skip "no $command here"
  done
}

# serve COMMAND...: starts a server in the background and sets $url from what it prints.
serve() {
  local name=$work/server${#servers[@]}
  "$@" >"$name.out" 2>"$name.err" &
  servers+=($!)
  until grep -q '^listening on' "$name.out"; do
    kill -0 "${servers[-1]}" || { cat "$name.err" && exit 1; }
    sleep 0.01
  done
  url=http://$(sed -E 's/listening on ([^,]*).*/\1/' "$name.out")
}

serve_files() {
  serve "$FILE_SERVER" --listening_port 127.0.0.1:0 --document_root "$root" "$@"
}

# check WHAT EXPECTED ACTUAL
check() {
  [ "$2" = "$3" ] && return
  printf '%s: expected\n%s\nbut got\n%s\n' "$1" "$2" "$3"
  failures=$((failures + 1))
}

finish() {
  [ "$failures" -eq 0 ] || exit 1
}
