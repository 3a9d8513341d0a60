#!/usr/bin/env bash
# Chromium: a listing with odd names, a password, and WebSocket messages.
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

# The page counts as loaded when its image is there, and that waits for what the page reports.
printf '%s\n' '#!/bin/sh' 'echo "$QUERY_STRING" >reported.new; mv reported.new reported' \
  'printf "Content-Type: text/plain\n\n"' >"$root/report.cgi"
printf '%s\n' '#!/bin/sh' 'until [ -e reported ]; do sleep 0.02; done' \
  'printf "Content-Type: image/png\n\n"' >"$root/wait.cgi"
chmod +x "$root"/*.cgi
cat >"$root/ws.html" <<'END'
<body><img src="wait.cgi"><script>
const sizes = [0, 125, 126, 65535, 65536, 1 << 20];
const socket = new WebSocket('ws://' + location.host + '/');
let done = '';
const next = () => sizes.length ? socket.send('y'.repeat(sizes[0])) : socket.close(4002, 'bye');
socket.onopen = next;
socket.onmessage = (event) => { done += (event.data === 'y'.repeat(sizes.shift())) + ','; next(); };
socket.onclose = (event) => fetch('report.cgi?' + done + event.code + ',' + event.wasClean);
</script></body>
END
serve "$ECHO_SERVER" "$root"
page "$url/ws.html" >"$work/dom"
check 'WebSocket messages' 'true,true,true,true,true,true,4002,true' "$(cat "$root/reported")"
finish
