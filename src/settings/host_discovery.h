// Where the room host's lobby server may be found: in the file that the server package leaves near the client, and on
// the Radmin VPN network, whose addresses all begin with 26.
#pragma once

#include "settings/settings_choices.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

// What stands behind the key, whose case does not matter, and the first "=" or ":" after it, up to white space. Empty
// when the line has no such key or no separator.
QString valueAfterKey(const QString& line, const QString& key);

// Reads "LobbyHttp", "GameHost" and "GamePort" from lines of any kind; a missing host is taken from the URL. True only
// when all three are there, the port from 1 to 65535; otherwise `fields` stays as it is.
bool parseCurrentHostText(const QString& text, ServerFields& fields);

// "服务端/current_host.txt" one folder above the client's root, or two folders above when the first does not exist. The
// second need not exist either.
QString currentHostFilePath(const std::u16string& clientRoot);

// The file's text, read as UTF-8. Empty when it cannot be opened or is larger than 64 KiB.
std::optional<QString> readCurrentHostFile(const QString& path);

// Of the neighbours, in host byte order, those of the Radmin network without its own two addresses (26.0.0.1,
// 26.255.255.255) and without this machine's: each once, ascending by number, as dotted text.
QStringList radminAddresses(const std::vector<std::uint32_t>& neighbours, const std::set<std::uint32_t>& own);

// The first Radmin address of this machine's running interfaces; empty without one.
QString findLocalRadminAddress();

// radminAddresses of the system's neighbour table.
QStringList radminNeighbours();

// What a search for hosts asks of the machine and where it looks; a test gives addresses and a port of its own.
struct NetworkSources {
    std::function<QString()> localRadminAddress = findLocalRadminAddress;
    std::function<QStringList()> radminNeighbours = ::radminNeighbours;
    quint16 lobbyPort = 40000;  // of a host's server
    int answerMs = 1800;        // a neighbour that has not answered by then is none
};
