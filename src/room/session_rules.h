// Signing in and losing the session: rules without widgets.
#pragma once

#include <QString>

// What is wrong with a registration form, in the player's words; empty when it may be sent. `userName` is trimmed
// already. The server has minimum lengths of its own.
QString registrationProblem(const QString& userName, const QString& password, const QString& confirmation);

// Whether a server's error says that the login is gone. Broad on purpose: servers word it in many ways.
bool isLoginExpiredError(const QString& text);

// The player's words for it, the server's own behind them unless they are empty.
QString loginExpiredText(const QString& serverText);
