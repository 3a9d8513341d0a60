#!/usr/bin/env bash
# PHP through its CGI program, and a Perl script that is its own program.
. "$(dirname "$0")/lib.sh"
need php-cgi perl curl

cat >"$root/form.php" <<'END'
<?php
header('Status: 201 Made');
header('X-Own: yes');
echo $_SERVER['REQUEST_METHOD'], ' ', $_GET['q'], ' ', strlen($_POST['text'] ?? ''), ' ',
    md5($_POST['text'] ?? ''), ' ', $_SERVER['PATH_INFO'] ?? '-', "\n";
END
printf '%s\n' '#!/usr/bin/perl' 'print "Content-Type: text/plain\n\n"; print scalar <STDIN>;' \
  'print "$ENV{QUERY_STRING} $ENV{REMOTE_ADDR}\n";' >"$root/s.pl"
chmod +x "$root/s.pl"

serve_files --cgi_interpreter php-cgi --cgi_pattern '**.php$'
head -c 5000000 /dev/zero | tr '\0' x >"$work/text"
check 'a form of 5 MB' "POST a b 5000000 $(md5sum <"$work/text" | cut -d' ' -f1) -" \
  "$(curl -s --data-urlencode "text@$work/text" "$url/form.php?q=a%20b")"
check 'a query' "GET x 0 d41d8cd98f00b204e9800998ecf8427e /more" "$(curl -s "$url/form.php/more?q=x")"
check 'status and headers' 'HTTP/1.1 201 Made yes' \
  "$(curl -si "$url/form.php?q=x" | tr -d '\r' | awk 'NR == 1 {s = $0} /^X-Own:/ {print s, $2}')"
check 'only the pattern counts' 200 "$(curl -s -o /dev/null -w '%{http_code}' "$url/s.pl")"

serve_files
check 'a script of its own' 'line 1
q=1 127.0.0.1' "$(printf 'line 1\nline 2\n' | curl -s --data-binary @- "$url/s.pl?q=1")"
finish
