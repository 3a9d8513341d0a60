#!/usr/bin/env bash
# The npm package ws: messages of every size both ways, fragments, PING, CLOSE.
. "$(dirname "$0")/lib.sh"
need node npm

packages=$BUILD_DIR/npm
[ -d "$packages/node_modules/ws" ] || npm install --silent --no-fund --no-audit --prefix "$packages" ws >"$work/npm.log" 2>&1 ||
  skip "npm cannot install ws: $(tail -n 1 "$work/npm.log")"
serve "$ECHO_SERVER" "$root"
echo_url=$url
serve_files
NODE_PATH=$packages/node_modules timeout 120 node - "$echo_url" "$url" <<'END'
const WebSocket = require('ws');
const assert = require('assert');
const { once } = require('events');
async function open(url) {
  const socket = new WebSocket(url.replace('http', 'ws') + '/', {perMessageDeflate: true});
  await once(socket, 'open');
  return socket;
}
async function close(socket) {
  socket.close(4001, 'bye');
  assert.equal((await once(socket, 'close'))[0], 4001);
}
(async () => {
  const [echo, plain] = process.argv.slice(2);
  let socket = await open(echo);
  for (const size of [0, 1, 125, 126, 65535, 65536, 10 << 20]) {
    const sent = Buffer.alloc(size, 'abc\0\xff');
    socket.send(sent);
    let [data, isBinary] = await once(socket, 'message');
    assert.ok(isBinary && sent.equals(data), `binary, ${size} bytes`);
    const text = 'x'.repeat(Math.min(size, 65536));
    socket.send(text);
    [data, isBinary] = await once(socket, 'message');
    assert.ok(!isBinary && data.toString() === text, `text, ${size} bytes`);
  }
  socket.send('one, ', {fin: false});
  socket.ping('between');
  socket.send('two, ', {fin: false});
  socket.send('three', {fin: true});
  const [[pong], [message]] = await Promise.all([once(socket, 'pong'), once(socket, 'message')]);
  assert.equal(pong.toString(), 'between');
  assert.equal(message.toString(), 'one, two, three');
  await close(socket);

  // Without a handler: data is dropped, PING and CLOSE are answered.
  socket = await open(plain);
  let messages = 0;
  socket.on('message', () => messages++);
  socket.send('nobody listens');
  socket.ping('anybody?');
  assert.equal((await once(socket, 'pong'))[0].toString(), 'anybody?');
  await close(socket);
  assert.equal(messages, 0);
})().catch((error) => { console.error(error); process.exit(1); });
END
finish
