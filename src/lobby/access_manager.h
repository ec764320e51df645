// How the client talks to a lobby server by HTTP, whatever it asks.
#pragma once

class QNetworkAccessManager;
class QNetworkReply;
class QObject;

// One that connects directly, as the game does, whatever proxy the system has.
QNetworkAccessManager* makeAccessManager(QObject* parent);

// Takes whatever certificate this machine's own server has; other servers need one that the system trusts.
void acceptOwnCertificate(QNetworkReply* reply);

// A server may hold up the end of a manager: Qt reads the head of a reply byte by byte, on a thread of the manager's
// own, and while a server sends a head without an end that thread does nothing else. It takes no other request, no
// abort, and the manager's destructor waits five seconds for it.
//
// Deletes the manager with its replies, and waits 50 ms for that at most. A thread that is held up even then ends when
// its server lets go of the connection.
void releaseAccessManager(QNetworkAccessManager* manager);
