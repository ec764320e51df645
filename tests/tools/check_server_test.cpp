#include "devlobby/service.h"
#include "inspect/server_check.h"
#include "support/scripted_server.h"
#include "support/test_registry.h"

#include <QCoreApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using devlobby::HttpServer;

namespace {

// What goes wrong, and the first rule that must fail; none for what every client takes.
struct Row {
    const char* flaw;
    const char* failure;
    HttpServer::Packing packing;
    const char* rule;
};

constexpr Row kRows[] = {
    {nullptr, nullptr, HttpServer::Packing::whole, nullptr},
    {nullptr, nullptr, HttpServer::Packing::gzip, nullptr},
    {nullptr, nullptr, HttpServer::Packing::drip, nullptr},
    {"light-list", nullptr, HttpServer::Packing::whole, "full-list"},
    {"no-session", nullptr, HttpServer::Packing::whole, "launch-data"},
    {"same-session", nullptr, HttpServer::Packing::whole, "new-session"},
    {"magic-word", nullptr, HttpServer::Packing::whole, "refusals"},
    {"keep-leavers", nullptr, HttpServer::Packing::whole, "membership"},
    {"odd-ids", nullptr, HttpServer::Packing::whole, "room-ids"},
    {nullptr, "302@rooms", HttpServer::Packing::whole, "replies"},
};

QStringList failed(const QVector<CheckedRule>& rules) {
    QStringList names;
    for (const CheckedRule& rule : rules) {
        if (!rule.failures.isEmpty()) {
            names += rule.name;
        }
    }
    return names;
}

}  // namespace

class CheckServerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rules() {
        static const QRegularExpression openSecret(
            QStringLiteral("\"(password|auth_token)\":\"(?!\\(secret\\)|of nobody)"));
        for (const Row& row : kRows) {
            devlobby::NetworkConditions network;
            QVERIFY(row.failure == nullptr || network.addFailure(QLatin1String(row.failure)));
            devlobby::Service service({}, network);
            QVERIFY(row.flaw == nullptr || service.flaws.add(QLatin1String(row.flaw)));
            service.http().setPacking(row.packing);
            QVERIFY(service.listen(0));
            const QVector<CheckedRule> rules = checkServer({url(service), {}});
            const QStringList names = failed(rules);
            const QString seen =
                QStringLiteral("%1 %2: %3")
                    .arg(QLatin1String(row.flaw), QLatin1String(row.failure), names.join(QLatin1Char(' ')));
            QVERIFY2(row.rule == nullptr ? names.isEmpty() : names.contains(QLatin1String(row.rule)), qPrintable(seen));
            for (const CheckedRule& rule : rules) {
                const bool tried = rule.name != QLatin1String("game-host");  // not over loopback
                QVERIFY2(row.rule != nullptr || rule.held() == tried, qPrintable(rule.name));
                QVERIFY2(!rule.failures.join(QString()).contains(openSecret), qPrintable(rule.failures.value(0)));
            }
        }
    }

    // No lobby at all, but something that takes the connection.
    void strangers() {
        for (const Script& script : {Script{}, Script{"nonsense", true}, ScriptedServer::reply("<html>"),
                                     Script{"HTTP/1.1 200 OK\r\n\r\n", false, false, false, "[1,"}}) {
            const ScriptedServer server([&script](const ScriptedRequest&) { return script; });
            const QVector<CheckedRule> rules = checkServer({server.url(), {}, 0, 300});
            QCOMPARE(failed(rules),
                     (QStringList{QStringLiteral("replies"), QStringLiteral("health"), QStringLiteral("full-list")}));
        }
    }

    void encrypted() {
        const QTemporaryDir folder;
        const QString pem = folder.filePath(QStringLiteral("both.pem"));
        const QString words =
            QStringLiteral("req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=self -keyout %1 -out %1");
        QProcess openssl;
        openssl.start(QStringLiteral("openssl"), words.arg(pem).split(QLatin1Char(' ')));
        openssl.waitForFinished();
        devlobby::NetworkConditions network;
        QVERIFY(network.addFailure(QStringLiteral("302@rooms")));
        devlobby::Service service({}, network);
        QVERIFY(!service.http().setTls(pem + QLatin1Char('x'), pem));
        if (!QFile::exists(pem) || !service.http().setTls(pem, pem)) {
            QSKIP("no TLS library, or no openssl program to make a certificate with");
        }
        QVERIFY(service.listen(0));
        const QString url = QStringLiteral("https://127.0.0.1:%1").arg(service.port());
        QVERIFY(!failed(checkServer({url, {}})).contains(QStringLiteral("health")));
    }

    // The program, with accounts that are there.
    void program() {
        devlobby::Service service({}, {});
        QVERIFY(service.listen(0));
        for (const char* name : {"甲甲", "乙乙", "丙丙"}) {
            QCOMPARE(service.lobby.addAccount(QString::fromUtf8(name), QStringLiteral("pass:word")), QString());
        }
        const QString inspect = QCoreApplication::applicationDirPath() + QStringLiteral("/netplay-inspect");
        QCOMPARE(QProcess::execute(inspect, {QStringLiteral("check-server"), QStringLiteral("--help")}), 0);
        for (const auto& [password, exitCode] : {std::pair("pass:word", 0), std::pair("wrong", 1)}) {
            const QString accounts = QStringLiteral("甲甲:%1,乙乙:%1,丙丙:%1").arg(QLatin1String(password));
            QProcess process;
            process.start(inspect, {QStringLiteral("check-server"), url(service) + QLatin1Char('/'),
                                    QStringLiteral("--accounts"), accounts});
            QTRY_VERIFY_WITH_TIMEOUT(process.state() == QProcess::NotRunning, 60000);
            const QByteArray output = process.readAllStandardOutput();
            QVERIFY2(process.exitCode() == exitCode && output.contains("FAILED") == (exitCode == 1),
                     output.constData());
        }
    }

private:
    static QString url(const devlobby::Service& service) {
        return QStringLiteral("http://127.0.0.1:%1").arg(service.port());
    }
};

NETPLAY_TEST(CheckServerTest);
#include "check_server_test.moc"
