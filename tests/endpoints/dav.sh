#!/usr/bin/env bash
# cadaver stores, lists and fetches; litmus passes what does not need COPY, MOVE, PROPPATCH or LOCK.
. "$(dirname "$0")/lib.sh"
need litmus cadaver htdigest

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

# suite NAME: how many of the suite's tests pass.
suite() { TESTS=$1 litmus -k "$url/" joe secret 2>&1 | grep -o '[0-9]* passed, [0-9]* failed'; }
check 'litmus basic' '16 passed, 0 failed' "$(suite basic)"
check 'litmus http' '4 passed, 0 failed' "$(suite http)"
check 'litmus props' '9 passed, 5 failed' "$(suite props)"
finish
