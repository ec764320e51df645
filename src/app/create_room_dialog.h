// Where a player picks a local map, sets its options and names a new room. Talks to nobody: whoever runs the dialog
// takes the request from it.
#pragma once

#include "lobby/room_info.h"
#include "maps/map_info.h"

#include <QDialog>
#include <QMap>
#include <QString>

#include <vector>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QSpinBox;
class QTimer;

class CreateRoomDialog : public QDialog {
    Q_OBJECT

public:
    // An empty catalog offers the map "10078" alone.
    CreateRoomDialog(const QString& userName, const std::vector<NetPlay::MapInfo>& catalog, QWidget* parent);

    // What the player chose; meant for an accepted dialog. The map's fingerprint is left empty.
    CreateRoomRequest request() const;

private Q_SLOTS:
    void onPrivateToggled(bool on);
    void onMapChanged();
    void validateAndAccept();

private:
    void buildLayout();
    QWidget* buildMapPanel();
    QWidget* buildSettingsPanel();
    void buildRoomRows();
    QWidget* buildOptionArea();
    void wire();
    // Lists the maps that match the search. The map `keep`, or when that is empty the current one, stays selected while
    // it qualifies.
    void rebuildMapList(QString keep);
    void addMapItems(const QString& keep);
    void rebuildOptionRows(const NetPlay::MapInfo& map);
    void clearOptionRows();
    void suggestName(const QString& title);
    QString currentMapId() const;
    const NetPlay::MapInfo* currentMap() const;  // into `maps`; null for none or one that is not in the catalog

    QString ownerName;
    QString lastAutoName;    // the name that the dialog itself filled in last
    QString pendingMapName;  // to stay selected through the next rebuild of the list
    std::vector<NetPlay::MapInfo> maps;
    QLineEdit* searchEdit = nullptr;
    QTimer* searchTimer = nullptr;
    QListWidget* mapList = nullptr;
    QFormLayout* settingsForm = nullptr;
    QFormLayout* optionForm = nullptr;
    QLineEdit* nameEdit = nullptr;
    QSpinBox* playerCountSpin = nullptr;
    QCheckBox* privateCheck = nullptr;
    QLineEdit* passwordEdit = nullptr;
    QLabel* messageLabel = nullptr;
    QPushButton* createButton = nullptr;
    QMap<QString, QComboBox*> optionCombos;
};
