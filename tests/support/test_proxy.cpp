// The tests' HTTPS proxy.
#include "support/test_proxy.h"

#include <gio/gio.h>

#include <stdexcept>

namespace quillo::test {

// One client connection: its request head is read, then it is spliced to the upstream server.
struct ProxyConnection {
  TestProxy* proxy;
  GSocketConnection* client;
  GSocketConnection* upstream = nullptr;
  std::string head;
  char buffer[4096];

  ~ProxyConnection() {
    if (upstream) g_object_unref(upstream);
    g_object_unref(client);
  }

  void readMore() {
    g_input_stream_read_async(g_io_stream_get_input_stream(G_IO_STREAM(client)), buffer, sizeof buffer,
                              G_PRIORITY_DEFAULT, nullptr, &ProxyConnection::onRead, this);
  }

  static void onRead(GObject* source, GAsyncResult* result, gpointer data) {
    auto* self = static_cast<ProxyConnection*>(data);
    gssize n = g_input_stream_read_finish(G_INPUT_STREAM(source), result, nullptr);
    if (n <= 0) {
      delete self;
      return;
    }
    self->head.append(self->buffer, size_t(n));
    if (self->head.find("\r\n\r\n") == std::string::npos) {
      self->readMore();
      return;
    }
    self->connectUpstream();
  }

  void connectUpstream() {
    GSocketClient* connector = g_socket_client_new();
    g_socket_client_connect_to_host_async(connector, "127.0.0.1", guint16(proxy->securePort_), nullptr,
                                          &ProxyConnection::onConnected, this);
    g_object_unref(connector);
  }

  static void onConnected(GObject* source, GAsyncResult* result, gpointer data) {
    auto* self = static_cast<ProxyConnection*>(data);
    self->upstream = g_socket_client_connect_to_host_finish(G_SOCKET_CLIENT(source), result, nullptr);
    if (!self->upstream) {
      delete self;
      return;
    }
    const std::string established = "HTTP/1.1 200 Connection established\r\n\r\n";
    g_output_stream_write_all(g_io_stream_get_output_stream(G_IO_STREAM(self->client)), established.data(),
                              established.size(), nullptr, nullptr, nullptr);
    // Anything the client sent after its CONNECT head belongs upstream.
    std::string rest = self->head.substr(self->head.find("\r\n\r\n") + 4);
    g_output_stream_write_all(g_io_stream_get_output_stream(G_IO_STREAM(self->upstream)), rest.data(), rest.size(),
                              nullptr, nullptr, nullptr);
    g_io_stream_splice_async(
        G_IO_STREAM(self->client), G_IO_STREAM(self->upstream),
        GIOStreamSpliceFlags(G_IO_STREAM_SPLICE_CLOSE_STREAM1 | G_IO_STREAM_SPLICE_CLOSE_STREAM2), G_PRIORITY_DEFAULT,
        nullptr,
        [](GObject*, GAsyncResult* result, gpointer data) {
          g_io_stream_splice_finish(result, nullptr);
          delete static_cast<ProxyConnection*>(data);
        },
        self);
  }
};

TestProxy::TestProxy(int securePort) : securePort_(securePort) {
  service_ = g_socket_service_new();
  GError* error = nullptr;
  GInetAddress* loopback = g_inet_address_new_from_string("127.0.0.1");
  GSocketAddress* address = g_inet_socket_address_new(loopback, 0);
  g_object_unref(loopback);
  GSocketAddress* bound = nullptr;
  gboolean ok = g_socket_listener_add_address(G_SOCKET_LISTENER(service_), address, G_SOCKET_TYPE_STREAM,
                                              G_SOCKET_PROTOCOL_TCP, nullptr, &bound, &error);
  g_object_unref(address);
  if (!ok) {
    std::string text = error ? error->message : "unknown error";
    g_clear_error(&error);
    throw std::runtime_error("test proxy: can't listen: " + text);
  }
  port_ = g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(bound));
  g_object_unref(bound);
  auto incoming = +[](GSocketService*, GSocketConnection* connection, GObject*, gpointer self) {
    auto* link = new ProxyConnection{static_cast<TestProxy*>(self), G_SOCKET_CONNECTION(g_object_ref(connection))};
    link->readMore();
    return gboolean(TRUE);
  };
  g_signal_connect(service_, "incoming", G_CALLBACK(incoming), this);
  g_socket_service_start(service_);
}

TestProxy::~TestProxy() {
  g_socket_service_stop(service_);
  g_socket_listener_close(G_SOCKET_LISTENER(service_));
  g_object_unref(service_);
}

std::string TestProxy::url() const { return "http://127.0.0.1:" + std::to_string(port_); }

}  // namespace quillo::test
