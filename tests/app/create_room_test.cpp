// The create-room dialog: its rules as a table, then a player's hands on the dialog.
#include "app/create_room_dialog.h"
#include "room/create_room_rules.h"
#include "support/test_registry.h"

#include <QTest>
#include <QtWidgets>

namespace {

using Maps = std::vector<NetPlay::MapInfo>;

NetPlay::MapInfo mapOf(const std::string& name, const std::string& title) {
    NetPlay::MapInfo map;
    map.name = name;
    map.displayName = title;
    return map;
}

Maps manyMaps(int count) {
    Maps maps;
    for (int i = 0; i < count; ++i) {
        maps.push_back(mapOf("m" + std::to_string(i), i % 2 == 0 ? "Even" : "Odd"));
    }
    return maps;
}

struct Hands : CreateRoomDialog {
    explicit Hands(const Maps& all) : CreateRoomDialog(QStringLiteral("bob"), all, nullptr) { show(); }
    QString refusal() { return QMetaObject::invokeMethod(this, "validateAndAccept"), message->text(); }
    QString listed() const {  // how many lines, and which map is selected
        return QStringLiteral("%1 ").arg(list->count()) + list->currentIndex().data(Qt::UserRole).toString();
    }
    QListWidget* list = findChild<QListWidget*>();
    QList<QLineEdit*> edits = findChildren<QLineEdit*>();
    QLineEdit *search = edits[0], *password = edits[1], *name = edits[2];
    QCheckBox* lock = findChild<QCheckBox*>();
    QPushButton* create = findChild<QPushButton*>(QStringLiteral("primary"));
    QLabel* message = create->parentWidget()->findChild<QLabel*>(QStringLiteral("StatusDot"));
};

}  // namespace

class CreateRoomTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void listedMapsAndTexts() {
        // maps; filter; kept map; how many are listed, the row of the kept one, truncated
        for (const char* row :
             {"400;;m9;400 9 0", "500;;m450;401 400 1", "401;;m400;401 400 0", "500;;gone;400 -1 1",
              "500; eVEN ;m2;250 1 0", "500;M49 o;m1;1 -1 0", "2100;odd;m1;1000 0 1", "9;x;;0 -1 0"}) {
            const QStringList fields = QString::fromUtf8(row).split(u';');
            const CreateRoomMapList list = createRoomMapList(manyMaps(fields[0].toInt()), fields[1], fields[2]);
            QCOMPARE(QStringLiteral("%1 %2 %3").arg(list.maps.size()).arg(list.keptRow).arg(list.truncated), fields[3]);
        }
        QCOMPARE(suggestedRoomName(QString(38, u'b'), QStringLiteral("🗺")).size(), 39);  // no half of a pair
        QCOMPARE(createRoomMapCaption(mapOf("7", "")), QStringLiteral("7"));
        QCOMPARE(createRoomMapCaption(mapOf("", "\n" + std::string(300, 'c'))), QString(199, u'c').prepend(u' '));
    }

    void optionsReachTheRequest() {
        NetPlay::MapInfo map = mapOf("10079", "<b>图</b>");
        map.maxPlayers = 30;
        map.slots = {{3, 5, "north", true, "2", false, "Tower"}};
        map.optionIds = {"bare", "mode"};
        map.optionLabels = {{"mode", "hard"}, {"only", "text"}, {"speed", "warp"}};
        map.optionValues = {{"mode", {"easy", "hard"}}, {"late", {"on", "off"}}, {"speed", {"slow", "fast"}}};
        Hands hands({mapOf("1", "other"), map});
        QTest::keyClick(hands.list, Qt::Key_Down);
        QTest::keyClick(hands.findChildren<QComboBox*>().last(), Qt::Key_Down);
        hands.search->setText(QStringLiteral("图"));  // the map stays, and so does what was set
        QTRY_COMPARE_WITH_TIMEOUT(hands.listed(), QStringLiteral("1 10079"), 20000);
        const CreateRoomRequest request = hands.request();
        QCOMPARE((QStringList{request.mapName, request.name} + request.mapOptions.keys() + request.mapOptions.values())
                     .join(u' '),
                 QStringLiteral("<b>图</b> bob的<b>图</b> late mode only speed off hard text slow"));
        QCOMPARE(request.mapOptionIndexes, (QVector<MapOptionIndex>{{1, 1}, {2, 1}, {3, 0}}));  // "bare" is option 0
        QVERIFY(request.maxPlayers == 22 && request.slotCount == 6 && request.slotMeta.size() == 1);
        const RoomSlot slot = request.slotMeta[0];
        QVERIFY(slot.slot == 3 && slot.playerId == 5 && slot.locked && !slot.isPlayerSlot);
        QCOMPARE(slot.name + slot.team + slot.selectType + slot.slotLabel, QStringLiteral("north2Tower"));
    }

    void searchKeepsTheMapWhileItQualifies() {
        Hands hands(manyMaps(500));
        QCOMPARE(hands.list->item(400)->text(), QStringLiteral("继续输入关键词筛选更多地图..."));
        hands.list->setCurrentRow(399);
        for (const char* step : {"odd=>250 m399", "even=>250 m0", "m10=>11 m10", "none=>0 ", "=>401 m0"}) {
            const QStringList row = QString::fromUtf8(step).split(QStringLiteral("=>"));
            hands.search->setText(row[0]);
            QTRY_COMPARE_WITH_TIMEOUT(hands.listed(), row[1], 20000);
            QCOMPARE(hands.create->isEnabled(), hands.list->count() > 0);
        }
    }

    void typedNameIsNeverOverwritten() {
        Hands hands(manyMaps(2));
        QTest::keyClick(hands.list, Qt::Key_Down);
        QTest::keyClicks(hands.name, QStringLiteral("!"));
        QTest::keyClick(hands.list, Qt::Key_Up);
        QTest::keyClick(hands.list, Qt::Key_Down);
        QCOMPARE(hands.name->text(), QStringLiteral("!bob的Odd"));
    }

    void refusalsThenTheDefaultMap() {
        Hands hands({});
        hands.name->setText(QStringLiteral("  "));
        QCOMPARE(hands.refusal(), QStringLiteral("请填写游戏名称。"));
        hands.name->setText(QStringLiteral(" room "));
        hands.lock->click();
        QTest::keyClicks(hands.password, QStringLiteral("x"));
        hands.lock->click();
        QVERIFY(!hands.password->isEnabled());
        hands.lock->click();  // what was typed is gone
        QCOMPARE(hands.refusal(), QStringLiteral("私有房间需要设置密码。"));
        hands.list->setCurrentItem(nullptr);
        QCOMPARE(hands.refusal(), QStringLiteral("请先选择地图。"));
        hands.list->setCurrentRow(0);
        QTest::keyClicks(hands.password, QStringLiteral(" p "));
        QTest::mouseClick(hands.create, Qt::LeftButton);
        const CreateRoomRequest request = hands.request();
        QCOMPARE(request.mode + request.mapId + request.mapName + request.name + request.password,
                 QStringLiteral("普通战1007810078room p "));
        QVERIFY(hands.result() == 1 && request.isPrivate && request.slotCount == 6 && request.slotMeta.isEmpty());
    }
};

NETPLAY_TEST(CreateRoomTest);
#include "create_room_test.moc"
