#include "inspect/arguments.h"
#include "inspect/commands.h"
#include "inspect/server_check.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr int kPlayers = 3;
constexpr int kShownFailures = 3;  // of a rule

QVector<std::pair<QString, QString>> readAccounts(const QString& text) {
    QVector<std::pair<QString, QString>> accounts;
    for (const QString& account : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        accounts.append({account.section(QLatin1Char(':'), 0, 0), account.section(QLatin1Char(':'), 1)});
    }
    if (!accounts.isEmpty() && accounts.size() != kPlayers) {
        throw UsageError(QStringLiteral("--accounts takes three, such as a:pw,b:pw,c:pw"));
    }
    return accounts;
}

void print(const QString& line) {
    std::fputs((line + QLatin1Char('\n')).toUtf8().constData(), stdout);
}

}  // namespace

int inspectCheckServer(const QStringList& words) {
    const Arguments arguments(words,
                              {QStringLiteral("accounts"), QStringLiteral("match-end"), QStringLiteral("timeout")});
    CheckOptions options;
    options.lobby = arguments.positional(1).first();
    while (options.lobby.endsWith(QLatin1Char('/'))) {
        options.lobby.chop(1);
    }
    options.accounts = readAccounts(arguments.text(QStringLiteral("accounts"), QString()));
    options.endSeconds = static_cast<int>(arguments.number(QStringLiteral("match-end"), 0, 86'400, options.endSeconds));
    options.timeoutMs = static_cast<int>(arguments.number(QStringLiteral("timeout"), 0, 60'000, 0));

    const QVector<CheckedRule> rules = checkServer(options);
    for (const CheckedRule& rule : rules) {
        const QString outcome = !rule.failures.isEmpty() ? QStringLiteral("FAILED")
                                : rule.checks == 0       ? QStringLiteral("not reached")
                                : rule.untried.isEmpty() ? QStringLiteral("held")
                                                         : QStringLiteral("not tried");
        print(QStringLiteral("%1 %2 %3").arg(outcome, -11).arg(rule.name, -14).arg(rule.text));
    }
    for (const CheckedRule& rule : rules) {
        if (rule.failures.isEmpty() && !rule.untried.isEmpty()) {
            print(QStringLiteral("\n%1: %2").arg(rule.name, rule.untried));
        }
        for (const QString& failure : rule.failures.mid(0, kShownFailures)) {
            print(QStringLiteral("\n%1: %2").arg(rule.name, failure.trimmed()));
        }
        if (rule.failures.size() > kShownFailures) {
            print(QStringLiteral("\n%1: and %2 more").arg(rule.name).arg(rule.failures.size() - kShownFailures));
        }
    }
    const auto held = std::count_if(rules.begin(), rules.end(), [](const CheckedRule& rule) { return rule.held(); });
    print(QStringLiteral("\n%1 of %2 rules held").arg(held).arg(rules.size()));
    const bool passed = std::all_of(rules.begin(), rules.end(),
                                    [](const CheckedRule& rule) { return rule.checks > 0 && rule.failures.isEmpty(); });
    return passed ? 0 : 1;
}
