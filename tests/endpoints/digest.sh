#!/usr/bin/env bash
# A password file made by htdigest, and curl.
. "$(dirname "$0")/lib.sh"
need htdigest curl

mkdir "$root/in"
echo inside >"$root/in/f"
# htdigest reads the password from the terminal: without one, from its input.
printf 'secret\nsecret\n' | setsid -w htdigest -c "$root/in/.htpasswd" here joe >/dev/null
serve_files --auth_domain here --dav_auth_file "$root/in/.htpasswd"

code() { curl -s -o "$work/body" -w '%{http_code}' "$@"; }
check 'no password' 401 "$(code "$url/in/f")"
check 'wrong password' 401 "$(code --digest -u joe:wrong "$url/in/f")"
check 'right password' '200 inside' "$(code --digest -u joe:secret "$url/in/f") $(cat "$work/body")"
check 'the password file' 404 "$(code --digest -u joe:secret "$url/in/.htpasswd")"
check 'a new file' 201 "$(code --digest -u joe:secret -T "$root/in/f" "$url/new/f")"
check 'its text' inside "$(cat "$root/new/f")"
check 'a new file, wrong password' 401 "$(code --digest -u joe:wrong -T "$root/in/f" "$url/new/g")"
finish
