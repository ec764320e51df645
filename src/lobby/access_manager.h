// The end of an access manager that its server may hold up: Qt reads the head of a reply byte by byte, on a thread of
// the manager's own, and while a server sends a head without an end that thread does nothing else. It takes no other
// request, no abort, and the manager's destructor waits five seconds for it.
#pragma once

class QNetworkAccessManager;

// Deletes the manager with its replies, and waits 50 ms for that at most. A thread that is held up even then ends when
// its server lets go of the connection.
void releaseAccessManager(QNetworkAccessManager* manager);
