#include "room/session_rules.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr int kLongestUserName = 15;

}  // namespace

QString registrationProblem(const QString& userName, const QString& password, const QString& confirmation) {
    if (userName.isEmpty()) {
        return QStringLiteral("请输入用户名。");
    }
    if (userName.size() > kLongestUserName) {
        return QStringLiteral("用户名最多 15 个字符。");
    }
    if (password.isEmpty()) {
        return QStringLiteral("请输入密码。");
    }
    return password == confirmation ? QString() : QStringLiteral("两次输入的密码不一致。");
}

bool isLoginExpiredError(const QString& text) {
    const QString lower = text.toLower();
    const QString signs[] = {QStringLiteral("login expired"), QStringLiteral("please login"),
                             QStringLiteral("unauthorized"),  QStringLiteral("authentication"),
                             QStringLiteral("401"),           QStringLiteral("请先登录")};
    return std::any_of(std::begin(signs), std::end(signs), [&](const QString& sign) { return lower.contains(sign); });
}

QString loginExpiredText(const QString& serverText) {
    const QString text = QStringLiteral("登录已过期，请重新登录。");
    return serverText.isEmpty() ? text : text + QStringLiteral(" 服务端返回: ") + serverText;
}
