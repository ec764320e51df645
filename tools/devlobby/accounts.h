// Who may sign in, and who has. Kept in memory alone: a development server forgets everybody when it ends.
#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

struct Account {
    QString name;  // as it was registered; compared ignoring case
    QString password;
    int userId = 0;      // the user's number inside the game
    QStringList tokens;  // of the open sessions, oldest first
};

class Accounts {
public:
    // Empty, or why there is no such account now: the name is taken or not usable, or there are too many accounts.
    QString add(const QString& name, const QString& password);
    // Opens a session and gives the account with its token last; null for a wrong name or password. Of too many
    // sessions of one account the oldest ends.
    const Account* signIn(const QString& name, const QString& password);
    // The account whose open session the token is; null for any other token.
    const Account* find(const QString& name, const QString& token) const;
    void signOut(const QString& name, const QString& token);

private:
    QMap<QString, Account> accounts_;  // by the name without case
};
