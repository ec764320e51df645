#include "window_fixture.h"

#include "lobby/room_decoder.h"
#include "mapgen/map_writer.h"
#include "maps/catalog.h"

#include <QApplication>
#include <QComboBox>
#include <QJsonDocument>
#include <QMenu>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTextDocument>

Script refusal(const QByteArray& text) {
    return ScriptedServer::reply(R"({"ok":false,"error":")" + text + R"("})");
}

LobbyScript::LobbyScript() : ScriptedServer([this](const ScriptedRequest& request) { return answer(request); }) {}

QByteArray LobbyScript::wordOf(const ScriptedRequest& request) {
    const QByteArray word = request.target.mid(request.target.lastIndexOf('/') + 1);
    return word == "rooms" && request.method == "POST" ? "create" : word;
}

Script LobbyScript::answer(const ScriptedRequest& request) const {
    Script script = answerAtOnce(request);
    script.held = holds.contains(wordOf(request));
    return script;
}

Script LobbyScript::answerAtOnce(const ScriptedRequest& request) const {
    const QByteArray word = wordOf(request);
    if (answers.contains(word)) {
        return answers.value(word);
    }
    QJsonObject answer{{text("ok"), true}};
    if (word == "login" || word == "register") {
        answer.insert(text("auth_token"), text("token"));
    } else if (request.method == "GET") {
        answer.insert(text("rooms"), rooms);
    } else if (word != "heartbeat" && !rooms.isEmpty()) {
        answer.insert(text("room"), rooms.first());
    }
    return reply(QJsonDocument(answer).toJson());
}

QVector<QJsonObject> LobbyScript::sent(const QByteArray& word) const {
    QVector<QJsonObject> bodies;
    for (const ScriptedRequest& request : requests) {
        if (wordOf(request) == word) {
            bodies += QJsonDocument::fromJson(request.body).object();
        }
    }
    return bodies;
}

WindowFixture::WindowFixture() {
    std::string error;
    const bool made = mapgen::writeMaps(path("gametest/map").toStdU16String(), {1, 7, 20'000, 10078, false}, error);
    QVERIFY2(made, error.c_str());
    NetPlay::MapInfo map;
    NetPlay::loadMapEntry(path("gametest/map/10078").toStdU16String(), "10078", map, {}, nullptr, nullptr, true);
    fingerprint_ = QString::fromStdString(map.fingerprint);
}

void WindowFixture::open(const QStringList& arguments) {
    ClientWindow::open(server.url(), "[Client]\nDefaultUsername=me\nDefaultPassword=secret\n", arguments);
    QObject::connect(client(), &LobbyClient::roomsUpdated, window.get(), [this] { ++lists; });
}

void WindowFixture::signIn() {
    open();
    press("登录");
    // The catalog as well, so that the gates are open.
    TRY(shows("地图已加载:1 张，可以创建游戏。") || status().startsWith(text("房间已刷新")));
    TRY(enabled("＋ 创建游戏") && roomTable()->rowCount() == server.rooms.size());
}

void WindowFixture::enterRoom(const QJsonObject& room) {
    server.rooms = {room};
    signIn();
    roomTable()->selectRow(0);
    press("进入房间");
    TRY(slotTable()->isVisible() && !enabled("发送") && edit("输入聊天内容")->isEnabled());
    // The options' boxes come to be seen a moment behind their page.
    const auto boxes = window->findChildren<QComboBox*>();
    TRY(std::all_of(boxes.begin(), boxes.end(),
                    [](const QComboBox* box) { return box->isVisible() || !box->parentWidget()->isVisible(); }));
}

void WindowFixture::chooseInMenu(int row, const char* entry, const std::function<void()>& behind,
                                 const std::function<void()>& meanwhile) {
    bool chosen = false;
    whenShown<QMenu>([&](QMenu& menu) {
        meanwhile ? meanwhile() : void();
        for (QAction* action : menu.actions()) {
            if (action->text() == text(entry) && action->isEnabled()) {
                action->trigger();
                chosen = true;
            }
        }
        behind ? behind() : void();
        menu.close();
    });
    QTableWidget* table = slotTable();
    Q_EMIT table->customContextMenuRequested(table->visualItemRect(table->item(row, 2)).center());
    TRY(chosen);
}

void WindowFixture::poll(const QJsonArray& rooms) {
    server.rooms = rooms;
    Q_EMIT client()->roomsUpdated(decodeRoomList({{text("rooms"), rooms}}, client()->userName()), QString());
    --lists;  // not of the server's
}

void WindowFixture::stopPolls() {
    timer("roomPollTimer")->stop();
    TRY(lists == server.sent("rooms").size());
}

void WindowFixture::askForRooms() {
    const int before = server.sent("rooms").size();
    timer("roomPollTimer")->start(1);
    TRY(server.sent("rooms").size() > before);
    timer("roomPollTimer")->stop();
}

int WindowFixture::changesUnderPolls(QTableWidget* table, QAbstractSlider* bar, const QJsonArray& rooms) {
    timer("roomPollTimer")->stop();
    QSignalSpy inserted(table->model(), &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(table->model(), &QAbstractItemModel::rowsRemoved);
    QSignalSpy changed(table->model(), &QAbstractItemModel::dataChanged);
    QSignalSpy selected(table, &QTableWidget::itemSelectionChanged);
    QSignalSpy focused(qApp, &QApplication::focusChanged);
    QSignalSpy scrolled(bar, &QScrollBar::valueChanged);
    for (int i = 0; i < 100; ++i) {
        poll(rooms);
        QCoreApplication::processEvents();
    }
    return inserted.size() + removed.size() + changed.size() + selected.size() + focused.size() + scrolled.size();
}

bool WindowFixture::isUnspoilt() const {
    const auto labels = window->findChildren<QLabel*>();
    return window->minimumSizeHint().width() <= 820 && window->width() <= 940 &&
           std::all_of(labels.begin(), labels.end(), [](const QLabel* label) {
               return label->textFormat() == Qt::PlainText || !Qt::mightBeRichText(label->text());
           });
}

QJsonObject WindowFixture::room(const QByteArray& seats, const QByteArray& fields) const {
    QJsonArray slots;
    for (QByteArray name : seats.split(' ')) {
        const bool ready = name.endsWith('+');
        slots.append(QJsonObject{{text("slot"), slots.size() + 1},
                                 {text("name"), text(name.replace('+', "").constData())},
                                 {text("ready"), ready}});
    }
    QJsonObject room = QJsonDocument::fromJson(R"({"id":"7","name":"测试房间","status":"waiting","map_id":"10078",
        "max_players":8})")
                           .object();
    for (const char* role : {"owner", "host"}) {
        room.insert(text(role), slots[0].toObject().value(text("name")));
    }
    room.insert(text("map_fingerprint"), fingerprint_);
    room.insert(text("player_count"), slots.size());
    room.insert(text("player_slots"), slots);
    const QJsonObject changes = QJsonDocument::fromJson('{' + fields + '}').object();
    for (auto field = changes.begin(); field != changes.end(); ++field) {
        room.insert(field.key(), field.value());
    }
    return room;
}
