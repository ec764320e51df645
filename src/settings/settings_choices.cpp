#include "settings/settings_choices.h"

#include "settings/client_settings.h"

QVector<ServerProfile> serverProfiles() {
    const ClientSettings local;
    // No public server's address is built in, and a host on the VPN is found by the page's button.
    const ServerFields unknownServer{QString(), QString(), local.gamePort};
    return {{QStringLiteral("local"), QStringLiteral("本地测试"),
             ServerFields{local.lobbyHttp, local.gameHost, local.gamePort}},
            {QStringLiteral("public"), QStringLiteral("公网测试"), unknownServer},
            {QStringLiteral("radmin"), QStringLiteral("Radmin"), unknownServer},
            {QStringLiteral("custom"), QStringLiteral("自定义"), std::nullopt}};
}

QVector<DisplayPreset> displayPresets() {
    return {{0, QStringLiteral("默认分辨率"), 1024, 768},
            {1, QStringLiteral("窗口 1600*1200"), 1600, 1200},
            {2, QStringLiteral("全屏 1920*1080"), 1400, 1050}};
}
