#include "widgets/theme.h"

#include <QApplication>
#include <QEvent>
#include <QLineEdit>
#include <QRegularExpression>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

constexpr struct {
    const char* name;
    QRgb color;
} kPalette[] = {
    {"window", 0x1E2228},      {"dialog", 0x171B21},         {"panel", 0x20252D},         {"table", 0x232830},
    {"list", 0x252B34},        {"field", 0x2A313B},          {"focusedField", 0x2D343F},  {"disabledField", 0x242A32},
    {"buttonHover", 0x323A45}, {"pressed", 0x262C35},        {"ownRow", 0x263A55},        {"line", 0x2C333D},
    {"edge", 0x353D49},        {"strongEdge", 0x4A576A},     {"hoverEdge", 0x3D8BF0},     {"handle", 0x3A434F},
    {"accent", 0x2D8CF0},      {"accentHover", 0x4A9BF5},    {"accentPressed", 0x1E7BE0}, {"disabledAccent", 0x2A3A52},
    {"bright", 0xFFFFFF},      {"disabledBright", 0x7E93B5}, {"text", 0xE6EAF0},          {"soft", 0xC2CAD6},
    {"muted", 0x8A93A2},       {"faint", 0x5A6472},          {"placeholder", 0x6C7686},   {"trouble", 0xFF9800},
};

// Once a line edit is shown, the style sheet has laid its palette and leaves this entry alone.
class PlaceholderColor : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject* watched, QEvent* event) override {
        auto* edit = event->type() == QEvent::Show ? qobject_cast<QLineEdit*>(watched) : nullptr;
        if (edit != nullptr) {
            QPalette palette = edit->palette();
            palette.setColor(QPalette::PlaceholderText, themeColor("placeholder"));
            edit->setPalette(palette);
        }
        return false;
    }
};

}  // namespace

QColor themeColor(const char* name) {
    const auto* found = std::find_if(std::begin(kPalette), std::end(kPalette),
                                     [name](const auto& entry) { return std::strcmp(entry.name, name) == 0; });
    return found == std::end(kPalette) ? QColor() : QColor(found->color);
}

QString themed(QString sheet) {
    static const QRegularExpression names(QStringLiteral("@([A-Za-z]+)"));
    for (QRegularExpressionMatch match = names.match(sheet); match.hasMatch();
         match = names.match(sheet, match.capturedStart())) {
        const QString color = themeColor(match.captured(1).toLatin1()).name();
        sheet.replace(match.capturedStart(), match.capturedLength(), color);
    }
    return sheet;
}

void colorPlaceholders(QApplication& application) {
    application.installEventFilter(new PlaceholderColor(&application));
}

QString applicationStyleSheet() {
    return themed(QStringLiteral(R"(
* {
    font-family: "Microsoft YaHei UI", "Segoe UI", "PingFang SC", sans-serif;
    font-size: 13px;
    color: @text;
}
QMainWindow, QWidget { background: @window; }

#Title { font-size: 18px; font-weight: 700; color: @bright; padding: 2px 0 6px 0; }
#SectionLabel { color: @muted; font-size: 11px; font-weight: 700; letter-spacing: 1px; padding-top: 8px; }
#StatusDot { font-size: 12px; padding-top: 4px; }
#StandingTrouble { color: @trouble; font-size: 12px; padding: 0 6px; }
#Sidebar { background: @panel; border-right: 1px solid @line; }
#Sep { background: @line; max-height: 1px; border: none; }

QLineEdit {
    background: @field;
    border: 1px solid @edge;
    border-radius: 6px;
    padding: 7px 10px;
    selection-background-color: @accent;
}
QLineEdit:focus { border: 1px solid @accent; background: @focusedField; }

QPushButton { background: @field; border: 1px solid @edge; border-radius: 6px; padding: 7px 14px; }
QPushButton:hover { background: @buttonHover; border: 1px solid @hoverEdge; }
QPushButton:focus { border: 1px solid @accent; }
QPushButton:pressed { background: @pressed; }
QPushButton:disabled { color: @faint; background: @disabledField; border: 1px solid @line; }
QPushButton#primary { background: @accent; border: none; color: @bright; font-weight: 700; padding: 8px 18px; }
QPushButton#primary:hover { background: @accentHover; }
QPushButton#primary:focus { border: 1px solid @bright; padding: 7px 17px; }
QPushButton#primary:pressed { background: @accentPressed; }
QPushButton#primary:disabled { background: @disabledAccent; color: @disabledBright; }

QTableWidget {
    background: @table;
    border: 1px solid @line;
    border-radius: 8px;
    gridline-color: @field;
    outline: none;
}
QTableWidget:focus, QListWidget:focus { border: 1px solid @accent; }
QTableWidget::item { padding: 9px 6px; border: none; }
QTableWidget::item:hover { background: @field; }
QTableWidget::item:selected { background: @accent; color: @bright; }
QHeaderView::section {
    background: @panel;
    color: @muted;
    padding: 9px 6px;
    border: none;
    border-bottom: 1px solid @line;
    font-weight: 700;
}
QHeaderView { background: transparent; }
QHeaderView::section:first { border-top-left-radius: 7px; }
QHeaderView::section:last { border-top-right-radius: 7px; }

QLabel, QCheckBox, QScrollArea, QScrollArea > QWidget > QWidget { background: transparent; }
QCheckBox::indicator {
    width: 14px;
    height: 14px;
    background: @field;
    border: 1px solid @strongEdge;
    border-radius: 4px;
}
QCheckBox:focus { color: @bright; text-decoration: underline; }
QCheckBox::indicator:hover, QCheckBox::indicator:focus { border: 1px solid @accent; }
QCheckBox::indicator:checked {
    background: qradialgradient(cx: 0.5, cy: 0.5, radius: 0.5, fx: 0.5, fy: 0.5,
                                stop: 0 @bright, stop: 0.5 @bright, stop: 0.6 @accent, stop: 1 @accent);
    border: 1px solid @accent;
}
QCheckBox::indicator:disabled { background: @disabledField; border: 1px solid @line; }
QCheckBox::indicator:checked:disabled { background: @disabledBright; }
QComboBox, QSpinBox, QTextEdit, QListWidget {
    background: @field;
    border: 1px solid @edge;
    border-radius: 6px;
    selection-background-color: @accent;
}
QComboBox, QSpinBox { padding: 5px 10px; }
QComboBox:focus, QSpinBox:focus, QTextEdit:focus { border: 1px solid @accent; }
QComboBox::drop-down, QSpinBox::up-button, QSpinBox::down-button { background: transparent; border: none; width: 22px; }
QComboBox::down-arrow, QSpinBox::down-arrow {
    width: 10px;
    height: 5px;
    background: qconicalgradient(cx: 0.5, cy: 1, angle: 0, stop: 0 transparent, stop: 0.124 transparent,
        stop: 0.125 @muted, stop: 0.375 @muted, stop: 0.376 transparent, stop: 1 transparent);
}
QSpinBox::up-arrow {
    width: 10px;
    height: 5px;
    background: qconicalgradient(cx: 0.5, cy: 0, angle: 180, stop: 0 transparent, stop: 0.124 transparent,
        stop: 0.125 @muted, stop: 0.375 @muted, stop: 0.376 transparent, stop: 1 transparent);
}
QComboBox QAbstractItemView {
    background: @table;
    border: 1px solid @edge;
    outline: none;
    selection-background-color: @accent;
    selection-color: @bright;
}
QLineEdit:disabled, QComboBox:disabled, QSpinBox:disabled {
    background: @disabledField;
    border: 1px solid @line;
    color: @muted;
}
QCheckBox:disabled { color: @faint; }
QMenu { background: @table; border: 1px solid @edge; padding: 4px; }
QMenu::item { padding: 6px 18px; }
QMenu::item:selected { background: @accent; color: @bright; }
QMenu::item:disabled { background: transparent; color: @faint; }
QMenu::separator { background: @line; height: 1px; margin: 4px 6px; }
QToolTip { background: @field; color: @text; border: 1px solid @edge; padding: 4px; }

QStatusBar { background: @panel; color: @muted; border-top: 1px solid @line; }
QStatusBar::item { border: none; }

QScrollBar:vertical { background: transparent; width: 10px; margin: 2px; }
QScrollBar::handle:vertical { background: @handle; border-radius: 5px; min-height: 28px; }
QScrollBar::handle:vertical:hover { background: @strongEdge; }
QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; }
QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: transparent; }
QScrollBar:horizontal { background: transparent; height: 10px; margin: 2px; }
QScrollBar::handle:horizontal { background: @handle; border-radius: 3px; min-width: 28px; }
QScrollBar::handle:horizontal:hover { background: @strongEdge; }
QScrollBar::add-line:horizontal, QScrollBar::sub-line:horizontal { width: 0; }
QScrollBar::add-page:horizontal, QScrollBar::sub-page:horizontal { background: transparent; }
)"));
}
