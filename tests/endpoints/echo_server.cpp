// echo_server FOLDER: sends every WebSocket message back and serves the folder's files.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "httpd/httpd.h"

static volatile sig_atomic_t is_stopped = 0;

// The message so far, when it comes in fragments; its own for each connection.
static std::string* message_of(mg_connection* conn)
{
  if (!conn->connection_param)
    conn->connection_param = new std::string;
  return static_cast<std::string*>(conn->connection_param);
}

static int echo(mg_connection* conn, mg_event event)
{
  if (event == MG_AUTH)
    return MG_TRUE;
  if (event == MG_CLOSE && conn->is_websocket)
    delete static_cast<std::string*>(conn->connection_param);
  if (event != MG_REQUEST || !conn->is_websocket || (conn->wsbits & 8))
    return MG_FALSE;
  std::string* message = message_of(conn);
  int opcode = conn->wsbits & 15;
  if (opcode != WEBSOCKET_OPCODE_CONTINUATION)
    *message = static_cast<char>(opcode);
  message->append(conn->content, conn->content_len);
  if (conn->wsbits & 128)
    mg_websocket_write(conn, (*message)[0], message->data() + 1, message->size() - 1);
  return MG_TRUE;
}

int main(int, char** argv)
{
  signal(SIGTERM, [](int) { is_stopped = 1; });
  mg_server* server = mg_create_server(nullptr, echo);
  mg_set_option(server, "document_root", argv[1]);
  mg_set_option(server, "listening_port", "127.0.0.1:0");
  printf("listening on 127.0.0.1:%s\n", mg_get_option(server, "listening_port"));
  fflush(stdout);
  while (!is_stopped)
    mg_poll_server(server, 100);
  mg_destroy_server(&server);
  return EXIT_SUCCESS;
}
