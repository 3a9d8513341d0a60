#!/usr/bin/env bash
# Chromium: a listing with odd names, and a password.
. "$(dirname "$0")/lib.sh"
need chromium

# page URL [OPTION]: the document after it has been loaded.
page() {
  timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-dev-shm-usage --no-proxy-server \
    --user-data-dir="$work/profile" --dump-dom "${@:2}" "$1" 2>"$work/chromium.log"
}

mkdir "$root/odd" "$root/in"
odd='<img src=x onerror="document.title=1">&amp;#?%41+ ;:'"'"'"é'
echo found >"$root/odd/$odd"
echo inside >"$root/in/f.txt"
printf 'joe:example.com:%s\n' "$(printf joe:example.com:secret | md5sum | cut -d' ' -f1)" >"$root/in/.htpasswd"
serve_files
page "$url/odd/" >"$work/dom"
check 'no tag of a name' 0 "$(grep -ci '<img' "$work/dom")"
check 'the name as text' 1 "$(grep -cF '&lt;img src=x onerror="document.title=1"&gt;&amp;amp;#?%41+ ;:' "$work/dom")"
href=$(grep -o 'href="%[^"]*' "$work/dom" | cut -c7-)
check 'the link leads to the file' 1 "$(page "$url/odd/$href" | grep -c found)"
check 'a password' 1 "$(page "${url/:\/\//:\/\/joe:secret@}/in/f.txt" | grep -c inside)"
finish
