// Who may sign in, and who has. Kept in memory alone: a development server forgets everybody when it ends.
#pragma once

#include <QList>
#include <QMap>
#include <QString>

namespace devlobby {

struct Session {
    QString token;
    qint64 openedAt = 0;  // ms since 1970
};

struct Account {
    QString name;  // as it was registered; compared ignoring case
    QString password;
    int userId = 0;           // the user's number inside the game
    QList<Session> sessions;  // oldest first
};

class Accounts {
public:
    // A session ends by itself after `sessionMs`; 0: never.
    explicit Accounts(qint64 sessionMs) : sessionMs_(sessionMs) {}

    // Empty, or why there is no such account now: the name is taken or not usable, or there are too many accounts.
    QString add(const QString& name, const QString& password);
    // Opens a session and gives the account with that session last; null for a wrong name or password. Of too many
    // sessions of one account the oldest ends.
    const Account* signIn(const QString& name, const QString& password, qint64 now);
    // The account whose open session the token is; null for any other token.
    const Account* find(const QString& name, const QString& token, qint64 now) const;
    void signOut(const QString& name, const QString& token);

private:
    qint64 sessionMs_;
    QMap<QString, Account> accounts_;  // by the name without case
};

}  // namespace devlobby
