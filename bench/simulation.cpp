#include "bench/simulation.h"

#include "app/create_room_dialog.h"

#include <QDateTime>
#include <QListWidget>
#include <QPushButton>

#include <algorithm>
#include <functional>
#include <limits>

namespace {

constexpr int kTickMs = 20;
constexpr int kDropSeconds = 10;
constexpr int kRecentWords = 25;
constexpr qint64 kNever = std::numeric_limits<qint64>::max();

qint64 now() {
    return QDateTime::currentMSecsSinceEpoch();
}

devlobby::NetworkConditions conditions(const SimulationOptions& options) {
    devlobby::NetworkConditions network;
    bool good = network.setLatency(options.latency);
    for (const QString& failure : options.failures) {
        good = good && network.addFailure(failure);
    }
    if (!good) {
        qFatal("simulation: bad latency or failure");
    }
    if (options.jitter) {
        network.setJitter(options.seed);
    }
    return network;
}

}  // namespace

class SimulatedPlayer : public Player {
public:
    SimulatedPlayer(Simulation& simulation, const QString& user, const QString& url, quint32 seed)
        : Player(user, url), simulation_(simulation), url_(url), random_(seed) {
        letGamesEnd(true);
        listen();
        QObject::connect(&ticks_, &QTimer::timeout, &ticks_, [this] { tick(); });
        ticks_.start(kTickMs);
    }

    // From now on nothing is pressed any more.
    void rest() { resting_ = true; }
    // Nothing is under way, and the player could go on.
    bool isSettled() const { return !closed_ && progress_.isEmpty() && leadsOn(); }

    QStringList recent;           // the last that was pressed and said
    QMap<int, qint64> launches;   // when a game of this session was begun, in ms since 1970
    QMap<int, int> started;       // games, by session
    qint64 inRoomSince = kNever;  // without a pause, in ms since 1970

private:
    // What could be pressed next.
    struct Choice {
        int weight;  // how often of a thousand times it is
        std::function<void()> press;
    };

    int upTo(int most) { return random_.bounded(most + 1); }
    bool isInRoom() const { return slotTable()->isVisible(); }
    bool leadsOn() const {
        const auto buttons = window->findChildren<QPushButton*>();
        return std::any_of(buttons.begin(), buttons.end(), [](const QPushButton* one) {
            return one->isVisible() && one->isEnabled() && one->text() != text("设置");
        });
    }

    void listen() {
        QObject::connect(window->statusBar(), &QStatusBar::messageChanged, window.get(),
                         [this](const QString& words) { hear(words); });
        QObject::connect(client(), &LobbyClient::roomActionResult, window.get(),
                         [this](const QString& action, bool ok, const RoomInfo& room) {
                             if (ok && action == text("join")) {
                                 room_ = room.id;
                             }
                         });
        QObject::connect(client(), &LobbyClient::roomCreated, window.get(), [this](bool ok, const RoomInfo& room) {
            if (ok) {
                room_ = room.id;
            }
        });
    }

    void note(const QString& words) {
        recent.append(QTime::currentTime().toString(text("ss.zzz ")) + words);
        if (recent.size() > kRecentWords) {
            recent.removeFirst();
        }
    }

    void hear(const QString& words) {
        note(words);
        progress_ = words.endsWith(text("...")) ? words : QString();
        progressSince_ = simulation_.time();
        if (words.startsWith(text("自动启动游戏中")) || words.startsWith(text("启动游戏中"))) {
            if (closed_ || !isInRoom()) {
                simulation_.fail(*this, closed_ ? text("a launch after closing") : text("a launch outside of a room"));
            }
            launchBegan_ = now();
        } else if (words.startsWith(text("已启动游戏:"))) {
            const int session = words.section(text("session="), 1).toInt();
            launches.insert(session, launchBegan_);
            ++simulation_.starts;
            if (++started[session] > 1) {
                ++simulation_.doubledStarts;
                simulation_.fail(*this, text("session %1 is started again").arg(session));
            }
        } else if (words.startsWith(text("启动失败:"))) {
            simulation_.fail(*this, text("a launch failed"));
        } else if (words.startsWith(text("你已被移出房间。")) || words.startsWith(text("房间已关闭"))) {
            if (!room_.isEmpty() && simulation_.seatOf(name()) == room_) {
                ++simulation_.wrongExits;
                simulation_.fail(*this, text("put out of room %1, where the server keeps the seat").arg(room_));
            }
        } else if (words.startsWith(text("已进入房间。"))) {
            ++simulation_.joins;
        }
    }

    void tick() {
        if (closed_) {
            if (!pressing_ && now() >= nextPress_) {
                reopen();
            }
            return;
        }
        for (const char* quick : {"roomPollTimer", "gameWatchTimer"}) {
            if (timer(quick)->interval() != simulation_.options.pollMs) {
                timer(quick)->setInterval(simulation_.options.pollMs);
            }
        }
        inRoomSince = !isInRoom() ? kNever : std::min(inRoomSince, now());
        if (leadsOn()) {
            ledOnAt_ = simulation_.time();
        } else if (simulation_.time() - ledOnAt_ > simulation_.options.patienceMs) {
            ledOnAt_ = kNever;
            simulation_.fail(*this, text("nothing can be pressed"));
        }
        if (!progress_.isEmpty() && simulation_.time() - progressSince_ > simulation_.options.patienceMs) {
            simulation_.fail(*this, text("no outcome of ") + progress_);
            progress_.clear();
        }
        if (!pressing_ && !resting_ && now() >= nextPress_) {
            nextPress_ = now() + upTo(simulation_.options.pauseMs);
            pressing_ = true;
            pressSomething();
            pressing_ = false;
        }
    }

    void pressSomething() {
        choices_.clear();
        edit("账号") != nullptr ? offerSignIn() : isInRoom() ? offerRoom() : offerLobby();
        int drawn = upTo(999);
        for (const Choice& choice : choices_) {
            drawn -= choice.weight;
            if (drawn < 0) {
                choice.press();
                return;
            }
        }
    }

    void offer(int weight, std::function<void()> press) { choices_.push_back({weight, std::move(press)}); }
    void offer(int weight, const char* caption, const std::function<void()>& before = {}) {
        QAbstractButton* const found = button(caption);
        if (found != nullptr && found->isEnabled()) {
            offer(weight, [this, found, before] {
                if (before) {
                    before();
                }
                note(u'[' + found->text() + u']');
                found->click();
            });
        }
    }

    void offerSignIn() {
        offer(500, "登录", [this] {
            edit("账号")->setText(name());
            edit("密码")->setText(text("secret"));
        });
    }

    void offerLobby() {
        const bool joinsOnly = simulation_.options.joins > 0;
        if (const int rows = roomTable()->rowCount(); rows > 0) {
            roomTable()->selectRow(upTo(rows - 1));
            offer(joinsOnly ? 40 : 300, "进入房间");
        }
        if (joinsOnly ? name() == kHost : simulation_.roomsWanted()) {
            offer(200, "＋ 创建游戏", [this] { useDialog(); });
        }
        if (!joinsOnly) {
            offer(10, "刷新");
            offer(4, "退出登录");
            offer(2, [this] { close(); });
        }
    }

    void offerRoom() {
        if (simulation_.options.joins > 0) {
            if (name() != kHost) {
                offer(20, "退出房间");
            }
            return;
        }
        offer(300, "准备");
        offer(400, "开始游戏");
        offer(5, "取消准备");
        offer(5, "退出房间");
        offer(10, "返回大厅");
        offer(2, [this] { close(); });
        if (QLineEdit* const chat = edit("输入聊天内容"); chat->isEnabled()) {
            offer(20, [this, chat] {
                chat->setText(text("你好"));
                button("发送")->click();
            });
            offer(10, [this] { Q_EMIT slotTable()->cellDoubleClicked(pickSlot(), 0); });
            if (button("开始游戏") != nullptr) {
                // What the slot menu calls.
                for (const char* command : {"onLockSlot", "onUnlockSlot", "onKickPlayer", "onTransferHost"}) {
                    offer(3, [this, command] {
                        note(text("[%1] %2").arg(text(command)).arg(pickSlot()));
                        QMetaObject::invokeMethod(window.get(), command);
                    });
                }
            }
        }
    }

    int pickSlot() {
        const int row = upTo(slotTable()->rowCount() - 1);
        slotTable()->selectRow(row);
        return row;
    }

    void useDialog() {
        whenShown<CreateRoomDialog>([this](CreateRoomDialog& dialog) {
            auto* maps = dialog.findChild<QListWidget*>();
            maps->setCurrentItem(maps->findItems(text("22"), Qt::MatchContains).value(0));
            upTo(9) == 0 ? dialog.reject() : button("创建游戏")->click();
        });
    }

    void close() {
        note(text("[×]"));
        closed_ = true;
        progress_.clear();
        inRoomSince = kNever;
        window->close();
        nextPress_ = now() + upTo(10 * simulation_.options.pauseMs);
    }

    void reopen() {
        started.clear();
        open(url_, {});
        listen();
        closed_ = false;
        room_.clear();
        ledOnAt_ = simulation_.time();
        note(text("[reopened]"));
    }

    Simulation& simulation_;
    const QString url_;
    QRandomGenerator random_;
    QTimer ticks_;
    std::vector<Choice> choices_;
    QString room_;              // the last that was entered
    QString progress_;          // what was said last, when something should follow
    qint64 progressSince_ = 0;  // in the simulation's time
    qint64 ledOnAt_ = 0;        // the same
    qint64 launchBegan_ = 0;    // in ms since 1970
    qint64 nextPress_ = 0;
    bool pressing_ = false;
    bool resting_ = false;
    bool closed_ = false;
};

Simulation::Simulation(const SimulationOptions& wanted)
    : options(wanted), service({options.launchDelayMs, 0, kDropSeconds, options.tokenSeconds}, conditions(options)),
      random_(options.seed) {
    if (!service.listen(0)) {
        qFatal("simulation: cannot listen");
    }
    const QString url = text("http://127.0.0.1:%1").arg(service.port());
    for (int i = 0; i < options.players; ++i) {
        const QString user = i == 0 ? kHost : text("玩家%1").arg(i);
        service.lobby.addAccount(user, text("secret"));
        const quint32 seed = options.seed * 1000 + static_cast<quint32>(i);
        players_.push_back(std::make_unique<SimulatedPlayer>(*this, user, url, seed));
    }
}

Simulation::~Simulation() = default;

int Simulation::run() {
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, &watch, [this] { watchMatches(); });
    watch.start(kTickMs);
    auto isOver = [this, progress = -1, progressAt = time_]() mutable {
        if (joins + matches_ != progress) {
            progress = joins + matches_;
            progressAt = time_;
        } else if (time_ - progressAt > 4 * options.patienceMs) {
            fail(*players_.front(), text("nothing goes on"));
        }
        return options.joins > 0 ? joins >= options.joins : matches_ >= options.matches;
    };
    constexpr int kMostFaults = 100;
    while (faults_ < kMostFaults && !isOver()) {
        QTest::qWait(kTickMs);
    }
    for (const auto& player : players_) {
        player->rest();
    }
    for (const auto& player : players_) {
        if (!QTest::qWaitFor([&] { return running_.isEmpty() && player->isSettled(); }, kPatienceMs)) {
            fail(*player, text("does not come to rest"));
        }
    }
    return faults_;
}

void Simulation::fail(const SimulatedPlayer& player, const QString& fault) {
    ++faults_;
    const QString words = player.recent.join(text("\n    "));
    qWarning("seed %u, %s: %s\n    %s", options.seed, qUtf8Printable(player.name()), qUtf8Printable(fault),
             qUtf8Printable(words));
}

QJsonArray Simulation::rooms() {
    const devlobby::LobbyRequest request{text("GET"), text("/api/lobby/rooms"), {}};
    return service.lobby.handle(request, now()).body.value(text("rooms")).toArray();
}

bool Simulation::roomsWanted() {
    return rooms().size() < std::max(1, options.players / 3);
}

QString Simulation::seatOf(const QString& name) {
    for (const QJsonValue& room : rooms()) {
        if (room[text("player_names")].toArray().contains(name)) {
            return room[text("id")].toString();
        }
    }
    return QString();
}

void Simulation::watchMatches() {
    time_ += kTickMs;
    for (const QJsonValue& room : rooms()) {
        const int session = room[text("session_id")].toInt();
        if (session > 0 && !running_.contains(session)) {
            Match match{room[text("id")].toString(), now(), kNever, time_ + options.patienceMs, {}};
            for (const QJsonValue& entry : room[text("pm_launch_slots")].toArray()) {
                match.players += entry[text("name")].toString();
            }
            // One in eight ends before everybody's game has started.
            match.endsEarly = random_.bounded(8) == 0;
            if (match.endsEarly) {
                match.endsAt = now() + random_.bounded(2 * options.launchDelayMs + 1);
            }
            running_.insert(session, match);
        }
    }
    for (const int session : running_.keys()) {
        Match& match = running_[session];
        if (match.endsAt == kNever && missing(session, match).empty()) {
            match.endsAt = now() + random_.bounded(2 * options.pollMs);
        } else if (match.endsAt == kNever && time_ > match.givenUpAt) {
            for (const SimulatedPlayer* player : missing(session, match)) {
                fail(*player, text("session %1 is not started").arg(session));
            }
            match.endsAt = now();
        }
        if (match.endsAt <= now()) {
            endMatch(session, match);
        }
    }
}

std::vector<const SimulatedPlayer*> Simulation::missing(int session, const Match& match) const {
    std::vector<const SimulatedPlayer*> late;
    for (const auto& player : players_) {
        if (match.players.contains(player->name()) && player->inRoomSince < match.startedAt &&
            !player->started.contains(session)) {
            late.push_back(player.get());
        }
    }
    return late;
}

void Simulation::endMatch(int session, const Match& match) {
    QVector<qint64> begun;
    for (const auto& player : players_) {
        if (player->launches.contains(session)) {
            begun += player->launches.value(session) - match.startedAt;
        }
    }
    if (!begun.isEmpty() && !match.endsEarly) {
        const auto [first, last] = std::minmax_element(begun.begin(), begun.end());
        delays += *first;
        spreads += *last - *first;
    }
    service.lobby.endMatch(match.room, now());
    running_.remove(session);
    ++matches_;
}
