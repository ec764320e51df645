// What the settings page offers: the servers and the display sizes.
#pragma once

#include <QString>
#include <QVector>

#include <optional>

struct ServerFields {
    QString lobbyHttp;
    QString gameHost;
    int gamePort = 0;
};

struct ServerProfile {
    QString key;                         // as in ClientSettings::serverProfile
    QString text;                        // the player's words
    std::optional<ServerFields> fields;  // what choosing it puts into the fields; nothing leaves them as they are
};

// In the order of the page's box.
QVector<ServerProfile> serverProfiles();

struct DisplayPreset {
    unsigned value = 0;  // as in ClientSettings::gameDisplayPreset
    QString text;
    int width = 0;  // what GameSetting.inf gets, which is not what the text says: the game knows few sizes
    int height = 0;
};

// In the order of the page's box, which is that of their values.
QVector<DisplayPreset> displayPresets();
