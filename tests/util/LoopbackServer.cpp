#include "util/LoopbackServer.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace JNFoundation::testing {

namespace {

void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

/// Whether the bytes up to the end of the head are there; `end` is then where the body starts.
bool hasHead(const std::string& bytes, std::size_t& end) {
  const std::size_t found = bytes.find("\r\n\r\n");
  if (found != std::string::npos) end = found + 4;
  return found != std::string::npos;
}

std::size_t lengthOfBody(const std::string& head) {
  constexpr std::string_view field = "\r\nContent-Length: ";
  const std::size_t found = head.find(field);
  return found == std::string::npos
             ? 0
             : std::strtoull(head.c_str() + found + field.size(), nullptr, 10);
}

void send(int connection, std::string_view text) {
  while (!text.empty()) {
    const ssize_t sent = ::send(connection, text.data(), text.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
}

/// Reads more bytes. Returns: false at the end, and where nothing comes for long.
bool receive(int connection, std::string& bytes) {
  char buffer[16384];
  const ssize_t count = ::recv(connection, buffer, sizeof buffer, 0);
  if (count <= 0) return false;
  bytes.append(buffer, static_cast<std::size_t>(count));
  return true;
}

}  // namespace

LoopbackServer::LoopbackServer() {
  _listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  require(_listener >= 0, "socket");
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  require(::bind(_listener, reinterpret_cast<sockaddr*>(&place), sizeof place) == 0, "bind");
  require(::listen(_listener, 16) == 0, "listen");
  socklen_t size = sizeof place;
  require(::getsockname(_listener, reinterpret_cast<sockaddr*>(&place), &size) == 0, "getsockname");
  _port = ntohs(place.sin_port);
  require(::pipe2(_end, O_CLOEXEC) == 0, "pipe");
  _thread = std::thread([this] { serve(); });
}

LoopbackServer::~LoopbackServer() {
  ::close(_end[1]);
  _thread.join();
  ::close(_end[0]);
  ::close(_listener);
}

std::string LoopbackServer::address() const { return "http://127.0.0.1:" + std::to_string(_port); }

std::vector<LoopbackServer::Arrival> LoopbackServer::takeArrivals() {
  const std::lock_guard guard(_mutex);
  return std::exchange(_arrivals, {});
}

void LoopbackServer::serve() {
  for (;;) {
    pollfd waiting[] = {{_listener, POLLIN, 0}, {_end[0], POLLIN, 0}};
    if (::poll(waiting, 2, -1) < 0 || waiting[1].revents != 0) return;
    const int connection = ::accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    // Who falls silent does not keep the test from its end.
    const timeval patience{20, 0};
    ::setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    serveConnection(connection);
    ::close(connection);
  }
}

void LoopbackServer::serveConnection(int connection) {
  std::string bytes;
  std::size_t bodyStart = 0;
  while (!hasHead(bytes, bodyStart)) {
    if (!receive(connection, bytes)) return;
  }
  Arrival arrival;
  arrival.head = bytes.substr(0, bodyStart);
  arrival.body = bytes.substr(bodyStart);
  if (arrival.head.find("\r\nExpect: 100-continue\r\n") != std::string::npos) {
    send(connection, "HTTP/1.1 100 Continue\r\n\r\n");
  }
  const std::size_t length = lengthOfBody(arrival.head);
  while (arrival.body.size() < length) {
    if (!receive(connection, arrival.body)) return;
  }
  const bool isHead = arrival.head.rfind("HEAD ", 0) == 0;
  {
    // Noted first: whoever has the answer may ask for it at once.
    const std::lock_guard guard(_mutex);
    _arrivals.push_back(std::move(arrival));
  }
  send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\n");
  if (!isHead) send(connection, "ok");
}

ShellRun runInShell(const std::string& text) {
  std::FILE* input = std::tmpfile();
  std::FILE* output = std::tmpfile();
  require(input && output, "tmpfile");
  std::fwrite(text.data(), 1, text.size(), input);
  std::fputc('\n', input);
  std::rewind(input);

  std::vector<std::string> settings = {"no_proxy=*", "HOME=/nonexistent"};
  for (char** entry = environ; *entry; ++entry) {
    const std::string_view setting = *entry;
    if (setting.substr(0, 5) != "HOME=" && setting.substr(0, 4) != "XDG_" &&
        setting.find("_proxy=") == std::string_view::npos &&
        setting.find("_PROXY=") == std::string_view::npos &&
        setting.substr(0, 10) != "CURL_HOME=") {
      settings.emplace_back(setting);
    }
  }
  std::vector<char*> environment;
  environment.reserve(settings.size() + 1);
  for (std::string& setting : settings) environment.push_back(setting.data());
  environment.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ::fileno(input), 0);
  posix_spawn_file_actions_adddup2(&actions, ::fileno(output), 1);
  posix_spawn_file_actions_adddup2(&actions, ::fileno(output), 2);
  std::string shell = "sh";
  char* arguments[] = {shell.data(), nullptr};
  pid_t process = 0;
  const int failed =
      ::posix_spawnp(&process, "sh", &actions, nullptr, arguments, environment.data());
  posix_spawn_file_actions_destroy(&actions);

  ShellRun run;
  int status = 0;
  if (failed == 0 && ::waitpid(process, &status, 0) == process && WIFEXITED(status)) {
    run.status = WEXITSTATUS(status);
  }
  std::rewind(output);
  char buffer[4096];
  while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, output)) {
    run.output.append(buffer, count);
  }
  std::fclose(input);
  std::fclose(output);
  return run;
}

}  // namespace JNFoundation::testing
