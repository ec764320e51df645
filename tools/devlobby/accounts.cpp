#include "devlobby/accounts.h"

#include <QRandomGenerator>

#include <algorithm>

namespace devlobby {

namespace {

constexpr int kMostAccounts = 1000;
constexpr int kMostSessions = 8;
constexpr int kShortestName = 2;       // UTF-16 units
constexpr int kLongestName = 15;       // UTF-16 units
constexpr int kLongestPassword = 128;  // UTF-16 units
constexpr int kFirstUserId = 10001;

bool isUsableName(const QString& name) {
    return name.size() >= kShortestName && name.size() <= kLongestName && name == name.trimmed() &&
           std::none_of(name.begin(), name.end(), [](QChar c) { return c.category() == QChar::Other_Control; });
}

QString makeToken() {
    QString token;
    for (int i = 0; i < 2; ++i) {
        token += QStringLiteral("%1").arg(QRandomGenerator::system()->generate64(), 16, 16, QLatin1Char('0'));
    }
    return token;
}

}  // namespace

QString Accounts::add(const QString& name, const QString& password) {
    if (!isUsableName(name)) {
        return QStringLiteral("username must have %1 to %2 characters").arg(kShortestName).arg(kLongestName);
    }
    if (password.isEmpty() || password.size() > kLongestPassword) {
        return QStringLiteral("password must have 1 to %1 characters").arg(kLongestPassword);
    }
    if (accounts_.contains(name.toCaseFolded())) {
        return QStringLiteral("username is taken");
    }
    if (accounts_.size() >= kMostAccounts) {
        return QStringLiteral("too many accounts");
    }
    accounts_.insert(name.toCaseFolded(), {name, password, kFirstUserId + accounts_.size(), {}});
    return QString();
}

const Account* Accounts::signIn(const QString& name, const QString& password, qint64 now) {
    const auto account = accounts_.find(name.toCaseFolded());
    if (account == accounts_.end() || account->password != password) {
        return nullptr;
    }
    if (account->sessions.size() >= kMostSessions) {
        account->sessions.removeFirst();
    }
    account->sessions.append({makeToken(), now});
    return &*account;
}

const Account* Accounts::find(const QString& name, const QString& token, qint64 now) const {
    const auto account = accounts_.constFind(name.toCaseFolded());
    const auto isOpen = [this, &token, now](const Session& session) {
        return session.token == token && (sessionMs_ == 0 || now - session.openedAt < sessionMs_);
    };
    return account != accounts_.cend() && std::any_of(account->sessions.begin(), account->sessions.end(), isOpen)
               ? &*account
               : nullptr;
}

void Accounts::signOut(const QString& name, const QString& token) {
    const auto account = accounts_.find(name.toCaseFolded());
    if (account != accounts_.end()) {
        account->sessions.erase(std::remove_if(account->sessions.begin(), account->sessions.end(),
                                               [&token](const Session& one) { return one.token == token; }),
                                account->sessions.end());
    }
}

}  // namespace devlobby
