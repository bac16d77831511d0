#pragma once

#include <QtCore/QByteArray>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <vector>

namespace browser {

/// An HTTP server on a port of its own of the loopback address, which answers whatever is asked
/// with one document. It stands in for the server of an application.
class FeedServer {
 public:
  FeedServer();

  /// "http://127.0.0.1:port/languages.json".
  QString address() const;

  void setAnswer(int status, const QByteArray& body);
  /// Answers wait from now on, or go out.
  void setHeld(bool isHeld);
  int requests() const { return _requests; }
  /// Nobody gets through any more, or again, at the same address.
  void setOnline(bool isOnline);

 private:
  void receive();
  void answer(QTcpSocket& socket) const;

  QTcpServer _server;
  quint16 _port = 0;
  int _status = 200;
  QByteArray _body = "[]";
  bool _isHeld = false;
  int _requests = 0;
  std::vector<QTcpSocket*> _waiting;
};

}  // namespace browser
