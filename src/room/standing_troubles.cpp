#include "room/standing_troubles.h"

QVector<StandingTrouble> standingTroubles(const StandingFacts& facts) {
    QVector<StandingTrouble> troubles;
    if (!facts.dataRootExists) {
        troubles += {QStringLiteral("没有找到游戏文件夹"), facts.dataRoot};
    } else if (!facts.gameExists) {
        troubles += {QStringLiteral("没有找到 game.exe"), facts.game};
    } else if (!facts.holdsMaps) {
        troubles += {QStringLiteral("地图文件夹里没有地图"), facts.maps};
    }
    if (facts.failedPolls >= kSilentPolls) {
        troubles += {QStringLiteral("服务器没有回应"), QStringLiteral("每 2 秒再试一次，有回应后自动恢复。")};
    }
    return troubles;
}
