#!/usr/bin/env bash
# cadaver stores, lists and fetches; curl stores in parts; litmus passes what does not need COPY, MOVE, PROPPATCH or LOCK.
. "$(dirname "$0")/lib.sh"
need litmus cadaver htdigest curl

# htdigest reads the password from the terminal: without one, from its input.
printf 'secret\nsecret\n' | setsid -w htdigest -c "$work/pw" example.com joe >/dev/null
serve_files --dav_auth_file "$work/pw"

cd "$work"
mkdir -p home local
printf 'machine 127.0.0.1\nlogin joe\npassword secret\n' >home/.netrc
chmod 600 home/.netrc
head -c 200000 /dev/urandom >local/file
printf '%s\n' 'mkcol new' 'cd new' "put local/file odd%20<b>" 'ls' 'get odd%20<b> fetched' \
  'delete odd%20<b>' 'ls' 'quit' | HOME=$work/home cadaver "$url/" >cadaver.log 2>&1
check 'what cadaver fetched' "$(md5sum <local/file)" "$(md5sum <fetched)"
check 'what cadaver lists' 1 "$(grep -c '200000' <(grep 'odd' cadaver.log | grep -v -e put -e '`'))"
check 'what is left' '' "$(ls "$root/new")"

# An upload that goes on where an earlier one ended, and one that breaks off.
upload() { curl -s --digest -u joe:secret "$url/part" -T "local/$1" "${@:2}"; }
head -c 100000 local/file >local/half
upload half
upload file -C 100000
check 'an upload in two parts' "$(md5sum <local/file)" "$(md5sum <"$root/part")"
upload file --limit-rate 20k &
until ls -A "$root" | grep -q mg_put; do sleep 0.01; done
kill $! && wait $! || true
while ls -A "$root" | grep -q mg_put; do sleep 0.01; done
check 'an upload that broke off' "$(md5sum <local/file)" "$(curl -s "$url/part" | md5sum)"
check 'what exists already' 412 \
  "$(upload file -H 'If-None-Match: *' -o /dev/null -w '%{http_code}')"
rm "$root/part"

# suite NAME: how many of the suite's tests pass.
suite() { TESTS=$1 litmus -k "$url/" joe secret 2>&1 | grep -o '[0-9]* passed, [0-9]* failed'; }
check 'litmus basic' '16 passed, 0 failed' "$(suite basic)"
check 'litmus http' '4 passed, 0 failed' "$(suite http)"
check 'litmus props' '9 passed, 5 failed' "$(suite props)"
finish
