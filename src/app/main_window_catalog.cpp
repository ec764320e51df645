// Local maps in the background, and the gates in front of creating and joining a room.
#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "maps/catalog.h"
#include "maps/map_records.h"
#include "room/map_gate.h"

#include <QLabel>
#include <QLoggingCategory>
#include <QStackedWidget>
#include <QtConcurrent>

#include <algorithm>
#include <exception>

namespace {

using Catalog = std::vector<NetPlay::MapInfo>;

std::filesystem::path mapRootOf(const std::u16string& dataRoot) {
    return dataRoot.empty() ? std::filesystem::path() : std::filesystem::path(joinPath(dataRoot, u"map"));
}

std::filesystem::path cacheDirOf(const std::u16string& clientRoot) {
    return clientRoot.empty() ? std::filesystem::path()
                              : std::filesystem::path(joinPath(joinPath(clientRoot, u"Cache"), u"map_cache"));
}

// The body of the scan's task.
Catalog scanMaps(const std::u16string& dataRoot, const std::u16string& clientRoot, const std::stop_token& stop) {
    try {
        return dataRoot.empty() ? Catalog()
                                : NetPlay::scanMapCatalog(mapRootOf(dataRoot), cacheDirOf(clientRoot), stop);
    } catch (const std::exception& error) {
        qWarning("map scan failed: %s", error.what());
        return {};
    }
}

// The body of the fingerprint's task.
MainWindow::MapFingerprintResult fingerprintMap(MainWindow::MapFingerprintResult result,
                                                const std::filesystem::path& cacheDir, const std::stop_token& stop) {
    try {
        result.ok = NetPlay::computeMapFingerprint(result.map, cacheDir, stop);
    } catch (const std::exception& error) {
        qWarning("map fingerprint failed: %s", error.what());
        result.ok = false;
    }
    if (!result.ok) {
        result.message = result.kind == MainWindow::kFingerprintForCreate
                             ? QStringLiteral("地图文件不完整或无法读取，不能创建房间。")
                             : QStringLiteral("地图文件不完整或无法读取，不能进入房间。");
    }
    return result;
}

}  // namespace

std::filesystem::path MainWindow::mapCacheDir() const {
    return cacheDirOf(paths.clientRoot);
}

void MainWindow::loadMapCatalog(bool force) {
    if (catalogWatcher.isRunning() || (catalogLoadStarted && !force)) {
        return;
    }
    catalogLoadStarted = true;
    if (!force && mapCatalog.empty() && !paths.dataRoot.empty() && !paths.clientRoot.empty()) {
        Catalog cached = NetPlay::loadCachedCatalog(mapRootOf(paths.dataRoot), mapCacheDir());
        if (!cached.empty()) {
            takeCatalog(std::move(cached));
            if (isShown(lobbyPage)) {
                showStatus(lobbyStatusLabel,
                           QStringLiteral("地图缓存已加载:%1 张，后台继续检查更新。").arg(mapCatalog.size()));
            }
        }
    }
    if (force || mapCatalog.empty()) {
        catalogReady = false;
    }
    refreshLobbyButtons();
    catalogWatcher.setFuture(QtConcurrent::run(scanMaps, paths.dataRoot, paths.clientRoot, backgroundEnd.get_token()));
}

void MainWindow::takeCatalog(Catalog catalog) {
    mapCatalog = std::move(catalog);
    catalogReady = true;
    roomSettingsSignature.clear();
    refreshLobbyButtons();
}

void MainWindow::onCatalogLoaded() {
    if (closing) {
        return;
    }
    takeCatalog(catalogWatcher.result());
    refreshStandingTroubles();
    if (isShown(lobbyPage)) {
        showStatus(lobbyStatusLabel, QStringLiteral("地图已加载:%1 张，可以创建游戏。").arg(mapCatalog.size()));
    } else if (isShown(roomPage)) {
        renderRoomPage();
    }
}

const NetPlay::MapInfo* MainWindow::currentRoomMap() {
    if (currentRoom.mapId.isEmpty() && currentRoom.mapName.isEmpty()) {
        return nullptr;
    }
    if (!catalogLoadStarted) {
        loadMapCatalog(false);
    }
    return NetPlay::findMapForRoom(mapCatalog, currentRoom.mapId, currentRoom.mapName);
}

void MainWindow::refuseInLobby(const QString& message) {
    showStatus(lobbyStatusLabel, message);
    refreshLobbyButtons();
}

void MainWindow::createWithFingerprintGate(CreateRoomRequest request) {
    if (fingerprintWatcher.isRunning()) {
        showStatus(lobbyStatusLabel, QStringLiteral("正在校验地图版本，请稍后。"));
        return;
    }
    const NetPlay::MapInfo* map = NetPlay::findMapByName(mapCatalog, request.mapId);
    if (map == nullptr) {
        showStatus(lobbyStatusLabel, QStringLiteral("本地找不到所选地图，不能创建房间。"));
        return;
    }
    if (map->fingerprint.empty()) {
        runFingerprintTask({kFingerprintForCreate, false, QString(), *map, std::move(request), RoomInfo(), userName()});
        return;
    }
    createRoomWith(*map, std::move(request));
}

void MainWindow::createRoomWith(const NetPlay::MapInfo& map, CreateRoomRequest request) {
    request.mapFingerprint = QString::fromStdString(map.fingerprint);
    request.mapFingerprintAlgo = QString::fromStdString(map.fingerprintAlgo);
    showStatus(lobbyStatusLabel, QStringLiteral("创建游戏中..."));
    entryRequest = client->createRoom(request);
    refreshLobbyButtons();
}

void MainWindow::joinWithFingerprintGate(const RoomInfo& room) {
    if (fingerprintWatcher.isRunning()) {
        showStatus(lobbyStatusLabel, QStringLiteral("正在校验地图版本，请稍后。"));
        return;
    }
    QString refusal;
    const NetPlay::MapInfo* map = findLocalMap(room, mapCatalog, catalogReady, refusal);
    if (map != nullptr && map->fingerprint.empty()) {
        runFingerprintTask({kFingerprintForJoin, false, QString(), *map, CreateRoomRequest(), room, userName()});
    } else if (roomMapMatchesLocal(room, mapCatalog, catalogReady, mapCacheDir(), refusal)) {
        joinRoomConfirmed(room);
    } else {
        refuseInLobby(refusal);
    }
}

void MainWindow::runFingerprintTask(const MapFingerprintResult& waiting) {
    setMapCheckInFlight(true);
    showStatus(lobbyStatusLabel, QStringLiteral("正在校验地图版本..."));
    fingerprintWatcher.setFuture(QtConcurrent::run(fingerprintMap, waiting, mapCacheDir(), backgroundEnd.get_token()));
}

void MainWindow::onMapFingerprintFinished() {
    if (closing) {
        return;
    }
    MapFingerprintResult result = fingerprintWatcher.result();
    const auto entry = std::find_if(mapCatalog.begin(), mapCatalog.end(),
                                    [&](const NetPlay::MapInfo& map) { return map.name == result.map.name; });
    if (result.ok && entry != mapCatalog.end()) {
        *entry = result.map;
    }
    // Another player may have signed in meanwhile, or the same one anew.
    if (!hasSession() || result.userName != userName() || !mapCheckInFlight) {
        return;
    }
    setMapCheckInFlight(false);
    const bool creating = result.kind == kFingerprintForCreate;
    QString refusal = result.message;
    if (result.ok && creating && result.map.fingerprint.empty()) {
        refusal = QStringLiteral("地图文件不完整，无法创建房间。");
    } else if (result.ok && !creating) {
        isMapOfRoom(result.map, result.room, refusal);
    }
    if (!refusal.isEmpty()) {
        refuseInLobby(refusal);
    } else if (creating) {
        createRoomWith(result.map, std::move(result.request));
    } else {
        joinRoomConfirmed(result.room);
    }
}
