#include "settings/host_discovery.h"

#include "platform/files.h"
#include "platform/neighbours.h"
#include "settings/paths.h"

#include <QHostAddress>
#include <QNetworkInterface>
#include <QUrl>

#include <algorithm>

namespace {

constexpr std::uint64_t kLargestHostFile = 64 << 10;  // bytes
constexpr std::uint32_t kRadminGateway = 0x1A000001;
constexpr std::uint32_t kRadminBroadcast = 0x1AFFFFFF;

bool isRadminAddress(std::uint32_t address) {
    return address >> 24 == 26;
}

QString dottedText(std::uint32_t address) {
    return QHostAddress(address).toString();
}

std::vector<std::uint32_t> ipv4Addresses(const QNetworkInterface& networkInterface) {
    std::vector<std::uint32_t> addresses;
    for (const QNetworkAddressEntry& entry : networkInterface.addressEntries()) {
        if (entry.ip().protocol() == QAbstractSocket::IPv4Protocol) {
            addresses.push_back(entry.ip().toIPv4Address());
        }
    }
    return addresses;
}

bool isInUse(const QNetworkInterface& networkInterface) {
    const QNetworkInterface::InterfaceFlags flags = networkInterface.flags();
    return flags.testFlag(QNetworkInterface::IsUp) && flags.testFlag(QNetworkInterface::IsRunning) &&
           !flags.testFlag(QNetworkInterface::IsLoopBack);
}

}  // namespace

QString valueAfterKey(const QString& line, const QString& key) {
    const int found = line.indexOf(key, 0, Qt::CaseInsensitive);
    if (found < 0) {
        return QString();
    }
    const QString rest = line.mid(found + key.size());
    const auto isSeparator = [](QChar character) {
        return character == QLatin1Char('=') || character == QLatin1Char(':');
    };
    const auto separator = std::find_if(rest.begin(), rest.end(), isSeparator);
    if (separator == rest.end()) {
        return QString();
    }
    const QString value = QString(separator + 1, static_cast<int>(rest.end() - separator) - 1).trimmed();
    const auto end = std::find_if(value.begin(), value.end(), [](QChar character) { return character.isSpace(); });
    return value.left(static_cast<int>(end - value.begin()));
}

bool parseCurrentHostText(const QString& text, ServerFields& fields) {
    // The settings file could not hold a NUL, and no address has one.
    if (text.contains(QChar::Null)) {
        return false;
    }
    const QString lobbyHttp = QStringLiteral("LobbyHttp");
    const QString gameHost = QStringLiteral("GameHost");
    const QString gamePort = QStringLiteral("GamePort");
    QString unified = text;
    unified.replace(QLatin1String("\r\n"), QLatin1String("\n")).replace(QLatin1Char('\r'), QLatin1Char('\n'));
    ServerFields found;
    for (const QString& line : unified.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.contains(lobbyHttp, Qt::CaseInsensitive)) {
            found.lobbyHttp = valueAfterKey(line, lobbyHttp);
        } else if (line.contains(gameHost, Qt::CaseInsensitive)) {
            found.gameHost = valueAfterKey(line, gameHost);
        } else if (line.contains(gamePort, Qt::CaseInsensitive)) {
            const int port = valueAfterKey(line, gamePort).toInt();
            found.gamePort = port >= 1 && port <= 65535 ? port : found.gamePort;
        }
    }
    if (found.gameHost.isEmpty()) {
        found.gameHost = QUrl(found.lobbyHttp).host();
    }
    const bool complete = !found.lobbyHttp.isEmpty() && !found.gameHost.isEmpty() && found.gamePort != 0;
    if (complete) {
        fields = found;
    }
    return complete;
}

QString currentHostFilePath(const std::u16string& clientRoot) {
    const std::u16string above = parentDir(clientRoot);
    const std::u16string name = joinPath(u"服务端", u"current_host.txt");
    const std::u16string nearest = joinPath(above, name);
    return QString::fromStdU16String(fileExists(nearest) ? nearest : joinPath(parentDir(above), name));
}

std::optional<QString> readCurrentHostFile(const QString& path) {
    std::string bytes;
    if (!platform::readWholeFile(platform::toPath(path.toStdU16String()), bytes, kLargestHostFile)) {
        return std::nullopt;
    }
    return QString::fromStdString(bytes);
}

QStringList radminAddresses(const std::vector<std::uint32_t>& neighbours, const std::set<std::uint32_t>& own) {
    std::set<std::uint32_t> addresses;
    for (const std::uint32_t address : neighbours) {
        if (isRadminAddress(address) && address != kRadminGateway && address != kRadminBroadcast &&
            own.count(address) == 0) {
            addresses.insert(address);
        }
    }
    QStringList texts;
    for (const std::uint32_t address : addresses) {
        texts.append(dottedText(address));
    }
    return texts;
}

QString findLocalRadminAddress() {
    for (const QNetworkInterface& networkInterface : QNetworkInterface::allInterfaces()) {
        for (const std::uint32_t address : ipv4Addresses(networkInterface)) {
            if (isInUse(networkInterface) && isRadminAddress(address)) {
                return dottedText(address);
            }
        }
    }
    return QString();
}

QStringList radminNeighbours() {
    std::set<std::uint32_t> own;
    for (const QNetworkInterface& networkInterface : QNetworkInterface::allInterfaces()) {
        for (const std::uint32_t address : ipv4Addresses(networkInterface)) {
            own.insert(address);
        }
    }
    return radminAddresses(platform::neighbourAddresses(), own);
}
