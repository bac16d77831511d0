#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace JNFoundation::testing {

/// An HTTP server on a port of its own of the loopback address, that notes byte for byte what
/// arrives and answers everything with "ok". Serves until it goes.
class LoopbackServer {
 public:
  struct Arrival {
    /// The request line and the header fields, with the line breaks of each.
    std::string head;
    std::string body;

    /// Whether a line of the head, or several with what is between them, is this text.
    bool hasLine(const std::string& line) const {
      return head.find("\r\n" + line + "\r\n") != std::string::npos;
    }
    std::string requestLine() const { return head.substr(0, head.find("\r\n")); }
  };

  LoopbackServer();
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  /// "http://127.0.0.1:port".
  std::string address() const;
  /// What has arrived since it was last asked.
  std::vector<Arrival> takeArrivals();

 private:
  void serve();
  void serveConnection(int connection);

  int _listener = -1;
  /// Readable once the server is to end.
  int _end[2] = {-1, -1};
  int _port = 0;
  std::mutex _mutex;
  std::vector<Arrival> _arrivals;
  std::thread _thread;
};

/// Gives the text to `sh` as what is typed there, and waits for its end. No settings of the user
/// and no proxy come into it.
struct ShellRun {
  /// -1 where the shell did not end by itself.
  int status = -1;
  /// What it wrote, errors included.
  std::string output;
};
ShellRun runInShell(const std::string& text);

}  // namespace JNFoundation::testing
