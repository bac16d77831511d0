#include "FeedServer.h"

#include <algorithm>

namespace browser {

FeedServer::FeedServer() {
  QObject::connect(&_server, &QTcpServer::newConnection, &_server, [this] { receive(); });
  setOnline(true);
}

QString FeedServer::address() const {
  return QString("http://127.0.0.1:%1/languages.json").arg(_port);
}

void FeedServer::setAnswer(int status, const QByteArray& body) {
  _status = status;
  _body = body;
}

void FeedServer::setHeld(bool isHeld) {
  _isHeld = isHeld;
  if (isHeld) return;
  for (QTcpSocket* socket : std::exchange(_waiting, {})) answer(*socket);
}

void FeedServer::setOnline(bool isOnline) {
  if (!isOnline) return _server.close();
  if (!_server.listen(QHostAddress::LocalHost, _port)) {
    qFatal("No port for a server: %s", qPrintable(_server.errorString()));
  }
  _port = _server.serverPort();
}

void FeedServer::receive() {
  while (QTcpSocket* const socket = _server.nextPendingConnection()) {
    QObject::connect(socket, &QTcpSocket::disconnected, socket, [this, socket] {
      std::erase(_waiting, socket);
      socket->deleteLater();
    });
    QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
      // What is asked ends with an empty line, and has no body.
      if (!socket->peek(socket->bytesAvailable()).endsWith("\r\n\r\n")) return;
      socket->readAll();
      ++_requests;
      if (_isHeld) return _waiting.push_back(socket);
      answer(*socket);
    });
  }
}

void FeedServer::answer(QTcpSocket& socket) const {
  socket.write("HTTP/1.1 " + QByteArray::number(_status) +
               " Answer\r\nContent-Type: application/json\r\nConnection: close\r\n"
               "Content-Length: " +
               QByteArray::number(_body.size()) + "\r\n\r\n" + _body);
  socket.disconnectFromHost();
}

}  // namespace browser
