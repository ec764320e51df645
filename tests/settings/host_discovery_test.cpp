// The host file, and the VPN network's addresses.
#include "settings/host_discovery.h"
#include "support/test_registry.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Bytes of a host file, what is read from it.
const std::pair<QByteArray, const char*> kHostFiles[] = {
    {"\xEF\xBB\xBFLobbyHttp=http://26.1.2.3:40000/\r\nGameHost = 26.1.2.4\r\nGamePort: 40002",
     "http://26.1.2.3:40000/ 26.1.2.4 40002"},
    {"\r\r房主 LOBBYHTTP : http://a:1 # b\r gameport=1\r", "http://a:1 a 1"},
    {"GamePort=70000\nGamePort=65535\nGamePort=65536\nLobbyHttp=http://a LobbyHttp=http://b GameHost=c",
     "http://a a 65535"},
    {"GameHost = 26.1.2.3\nGamePort: 40001", "none - 0"},
    {"LobbyHttp\nGameHost=a\nGamePort=1", "none - 0"},
    {QByteArray("LobbyHttp=http://a\0\nGamePort=1", 31), "none - 0"},
    {"LobbyHttp=http://a\nGamePort=1\n" + QByteArray(64 << 10, '\n'), "none - 0"}};

}  // namespace

class HostDiscoveryTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void hostFile() {
        for (const auto& [bytes, expected] : kHostFiles) {
            const QTemporaryDir folder;
            QFile file(folder.filePath(QStringLiteral("current_host.txt")));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
            file.close();
            ServerFields fields{QStringLiteral("none"), QStringLiteral("-"), 0};
            parseCurrentHostText(readCurrentHostFile(file.fileName()).value_or(QString()), fields);
            QCOMPARE(QStringLiteral("%1 %2 %3").arg(fields.lobbyHttp, fields.gameHost).arg(fields.gamePort),
                     QString::fromUtf8(expected));
        }
    }

    void neighbours() {
        const QStringList found = radminAddresses({0x1A640001, 0x1A000001, 0x1A020304, 0x1A090909, 0x1AFFFFFF,
                                                   0x1B010203, 0x0100001A, 0x1A020304, 0xFFFFFFFF, 0x1A000002},
                                                  {0x1A090909, 0x7F000001});
        QCOMPARE(found.join(QLatin1Char(' ')), QStringLiteral("26.0.0.2 26.2.3.4 26.100.0.1"));
    }
};

NETPLAY_TEST(HostDiscoveryTest);
#include "host_discovery_test.moc"
