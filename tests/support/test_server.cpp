// The tests' HTTP server, on libsoup.
#include "support/test_server.h"

#include <libsoup/soup.h>

#include <algorithm>
#include <stdexcept>

#include "support/test_certificate.h"

namespace quillo::test {

namespace {

void respond(SoupServerMessage* message, const Route& route) {
  soup_server_message_set_status(message, route.status, nullptr);
  SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
  for (const auto& [name, value] : route.headers) soup_message_headers_append(headers, name.c_str(), value.c_str());
  if (route.stallAfter == 0) {
    soup_server_message_set_response(message, route.contentType.c_str(), SOUP_MEMORY_COPY, route.body.data(),
                                     route.body.size());
    return;
  }
  // The whole length is announced; only the start of the body is ever sent.
  soup_message_headers_set_content_type(headers, route.contentType.c_str(), nullptr);
  soup_message_headers_set_content_length(headers, goffset(route.body.size()));
  soup_message_body_append(soup_server_message_get_response_body(message), SOUP_MEMORY_COPY, route.body.data(),
                           std::min(route.stallAfter, route.body.size()));
}

[[noreturn]] void fail(const std::string& what, GError* error) {
  std::string text = error ? error->message : "unknown error";
  g_clear_error(&error);
  throw std::runtime_error("test server: " + what + ": " + text);
}

void drop(SoupServerMessage* message) {
  GIOStream* stream = soup_server_message_steal_connection(message);
  if (stream) {
    g_io_stream_close(stream, nullptr, nullptr);
    g_object_unref(stream);
  }
}

}  // namespace

TestServer::TestServer(const std::string& address, bool https) : address_(address), https_(https) {
  GTlsCertificate* certificate = nullptr;
  GError* error = nullptr;
  if (https && !(certificate = g_tls_certificate_new_from_pem(kTestCertificatePEM, -1, &error)))
    fail("bad certificate", error);
  server_ = certificate ? soup_server_new("tls-certificate", certificate, nullptr) : soup_server_new(nullptr, nullptr);
  if (certificate) g_object_unref(certificate);
  soup_server_add_handler(server_, nullptr, &TestServer::handle, this, nullptr);
  GSocketAddress* socketAddress = g_inet_socket_address_new_from_string(address.c_str(), 0);
  if (!socketAddress) throw std::runtime_error("test server: bad address " + address);
  gboolean listening =
      soup_server_listen(server_, socketAddress, https ? SOUP_SERVER_LISTEN_HTTPS : SoupServerListenOptions(0), &error);
  g_object_unref(socketAddress);
  if (!listening) {
    g_object_unref(server_);
    fail("can't listen on " + address, error);
  }
  GSList* uris = soup_server_get_uris(server_);
  if (uris) port_ = g_uri_get_port(static_cast<GUri*>(uris->data));
  g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
}

TestServer::~TestServer() {
  soup_server_disconnect(server_);
  g_object_unref(server_);
}

void TestServer::route(const std::string& path, Route route) {
  std::lock_guard lock(mutex_);
  routes_[path] = std::move(route);
}

void TestServer::html(const std::string& path, std::string body) {
  Route r;
  r.body = std::move(body);
  route(path, std::move(r));
}

std::string TestServer::url(const std::string& path) const {
  return (https_ ? "https://" : "http://") + address_ + ":" + std::to_string(port_) + path;
}

std::vector<ServedRequest> TestServer::requests() const {
  std::lock_guard lock(mutex_);
  return log_;
}

int TestServer::count(const std::string& path) const {
  std::lock_guard lock(mutex_);
  int n = 0;
  for (const auto& r : log_) n += r.path == path;
  return n;
}

void TestServer::clearLog() {
  std::lock_guard lock(mutex_);
  log_.clear();
}

void TestServer::handle(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*, void* self) {
  static_cast<TestServer*>(self)->answer(message, path);
}

void TestServer::answer(SoupServerMessage* message, const char* path) {
  ServedRequest request;
  request.path = path ? path : "";
  const char* host = soup_message_headers_get_one(soup_server_message_get_request_headers(message), "Host");
  if (host) request.host = host;

  Route route;
  {
    std::lock_guard lock(mutex_);
    log_.push_back(request);
    auto it = routes_.find(request.path);
    if (it == routes_.end()) {
      route.status = 404;
      route.contentType = "text/plain";
      route.body = "not found";
    } else {
      route = it->second;
    }
  }

  if (route.drop)
    drop(message);
  else
    respond(message, route);
}

}  // namespace quillo::test
