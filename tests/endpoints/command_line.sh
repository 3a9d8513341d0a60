#!/usr/bin/env bash
# mg_file_server: its options, errors and exit statuses; scripts/run, which builds and becomes it.
. "$(dirname "$0")/lib.sh"
need curl openssl

# refused ERROR ARGUMENT...: the server ends with the error on standard error and status 1.
refused() {
  local status=0 error=$1
  shift
  "$FILE_SERVER" "$@" >"$work/stdout" 2>"$work/stderr" || status=$?
  check "status of $*" 1 $status
  check "error of $*" "$error" "$(cat "$work/stderr")"
  check "output of $*" '' "$(cat "$work/stdout")"
}
refused 'No such option' --nonsense x
refused 'Cannot bind to port' --listening_port 65535
refused 'Cannot bind to port' --listening_port "127.0.0.1:0,ssl://127.0.0.1:0:$work/none.pem"
refused 'Unknown user' --run_as_user no-such-user-here
[ "$("$FILE_SERVER" --help | grep -c '^  --')" -eq 18 ] || check 'options of --help' 18 "$("$FILE_SERVER" --help)"

openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj /CN=localhost \
  -keyout "$work/key" -out "$work/cert" 2>/dev/null
cat "$work/cert" "$work/key" >"$work/ssl.pem"
head -c 300000 /dev/urandom >"$root/f"
serve "$FILE_SERVER" --listening_port "127.0.0.1:0,ssl://127.0.0.1:0:$work/ssl.pem" \
  --document_root /nowhere --document_root "$root" --index_files ''
tls=https://$(sed -E 's|.*ssl://||' "$work/server0.out")
check 'a file over HTTP and over TLS' "$(md5sum <"$root/f")" \
  "$(curl -s "$url/f" | cmp - "$root/f" && curl -sk "$tls/f" | md5sum)"
check 'an empty value unsets: no index file' 200 "$(touch "$root/index.html" &&
  curl -s -o "$work/listing" -w '%{http_code}' "$url/" && grep -q 'Index of' "$work/listing")"

status=0
(cd "$work" && "$SOURCE_DIR/scripts/run" file-server -- --nonsense x 2>"$work/stderr") || status=$?
check 'scripts/run passes the status on' "1 No such option" "$status $(cat "$work/stderr")"
finish
