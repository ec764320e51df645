#include "app/theme.h"

#include <QApplication>
#include <QEvent>
#include <QLineEdit>

namespace {

// Once a line edit is shown, the style sheet has laid its palette and leaves this entry alone.
class PlaceholderColor : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject* watched, QEvent* event) override {
        auto* edit = event->type() == QEvent::Show ? qobject_cast<QLineEdit*>(watched) : nullptr;
        if (edit != nullptr) {
            QPalette palette = edit->palette();
            palette.setColor(QPalette::PlaceholderText, QColor(0x6C, 0x76, 0x86));
            edit->setPalette(palette);
        }
        return false;
    }
};

}  // namespace

void colorPlaceholders(QApplication& application) {
    application.installEventFilter(new PlaceholderColor(&application));
}

QString applicationStyleSheet() {
    return QStringLiteral(R"(
* {
    font-family: "Microsoft YaHei UI", "Segoe UI", "PingFang SC", sans-serif;
    font-size: 13px;
    color: #E6EAF0;
}
QMainWindow, QWidget { background: #1E2228; }

#Title { font-size: 18px; font-weight: 700; color: #FFFFFF; padding: 2px 0 6px 0; }
#SectionLabel { color: #8A93A2; font-size: 11px; font-weight: 700; letter-spacing: 1px; padding-top: 8px; }
#StatusDot { font-size: 12px; padding-top: 4px; }
#Sidebar { background: #20252D; border-right: 1px solid #2C333D; }
#Sep { background: #2C333D; max-height: 1px; border: none; }

QLineEdit {
    background: #2A313B;
    border: 1px solid #353D49;
    border-radius: 6px;
    padding: 7px 10px;
    selection-background-color: #2D8CF0;
}
QLineEdit:focus { border: 1px solid #2D8CF0; background: #2D343F; }

QPushButton { background: #2A313B; border: 1px solid #353D49; border-radius: 6px; padding: 7px 14px; }
QPushButton:hover { background: #323A45; border: 1px solid #3D8BF0; }
QPushButton:pressed { background: #262C35; }
QPushButton:disabled { color: #5A6472; background: #242A32; border: 1px solid #2C333D; }
QPushButton#primary { background: #2D8CF0; border: none; color: #FFFFFF; font-weight: 700; padding: 8px 18px; }
QPushButton#primary:hover { background: #4A9BF5; }
QPushButton#primary:pressed { background: #1E7BE0; }
QPushButton#primary:disabled { background: #2A3A52; color: #7E93B5; }

QTableWidget {
    background: #232830;
    border: 1px solid #2C333D;
    border-radius: 8px;
    gridline-color: #2A313B;
    outline: none;
}
QTableWidget::item { padding: 9px 6px; border: none; }
QTableWidget::item:hover { background: #2A313B; }
QTableWidget::item:selected { background: #2D8CF0; color: #FFFFFF; }
QHeaderView::section {
    background: #20252D;
    color: #8A93A2;
    padding: 9px 6px;
    border: none;
    border-bottom: 1px solid #2C333D;
    font-weight: 700;
}
QHeaderView { background: transparent; }
QHeaderView::section:first { border-top-left-radius: 7px; }
QHeaderView::section:last { border-top-right-radius: 7px; }

QLabel, QCheckBox, QScrollArea, QScrollArea > QWidget > QWidget { background: transparent; }
QCheckBox::indicator {
    width: 14px;
    height: 14px;
    background: #2A313B;
    border: 1px solid #4A576A;
    border-radius: 4px;
}
QCheckBox::indicator:hover, QCheckBox::indicator:focus { border: 1px solid #2D8CF0; }
QCheckBox::indicator:checked {
    background: qradialgradient(cx: 0.5, cy: 0.5, radius: 0.5, fx: 0.5, fy: 0.5,
                                stop: 0 #FFFFFF, stop: 0.5 #FFFFFF, stop: 0.6 #2D8CF0, stop: 1 #2D8CF0);
    border: 1px solid #2D8CF0;
}
QCheckBox::indicator:disabled { background: #242A32; border: 1px solid #2C333D; }
QCheckBox::indicator:checked:disabled { background: #7E93B5; }
QComboBox, QSpinBox, QTextEdit, QListWidget {
    background: #2A313B;
    border: 1px solid #353D49;
    border-radius: 6px;
    selection-background-color: #2D8CF0;
}
QComboBox, QSpinBox { padding: 5px 10px; }
QComboBox:focus, QSpinBox:focus, QTextEdit:focus { border: 1px solid #2D8CF0; }
QComboBox::drop-down, QSpinBox::up-button, QSpinBox::down-button { background: transparent; border: none; width: 22px; }
QComboBox::down-arrow, QSpinBox::down-arrow {
    width: 10px;
    height: 5px;
    background: qconicalgradient(cx: 0.5, cy: 1, angle: 0, stop: 0 transparent, stop: 0.124 transparent,
        stop: 0.125 #8A93A2, stop: 0.375 #8A93A2, stop: 0.376 transparent, stop: 1 transparent);
}
QSpinBox::up-arrow {
    width: 10px;
    height: 5px;
    background: qconicalgradient(cx: 0.5, cy: 0, angle: 180, stop: 0 transparent, stop: 0.124 transparent,
        stop: 0.125 #8A93A2, stop: 0.375 #8A93A2, stop: 0.376 transparent, stop: 1 transparent);
}
QComboBox QAbstractItemView {
    background: #232830;
    border: 1px solid #353D49;
    outline: none;
    selection-background-color: #2D8CF0;
    selection-color: #FFFFFF;
}
QLineEdit:disabled, QComboBox:disabled, QSpinBox:disabled {
    background: #242A32;
    border: 1px solid #2C333D;
    color: #8A93A2;
}
QCheckBox:disabled { color: #5A6472; }
QMenu { background: #232830; border: 1px solid #353D49; padding: 4px; }
QMenu::item { padding: 6px 18px; }
QMenu::item:selected { background: #2D8CF0; color: #FFFFFF; }
QMenu::item:disabled { background: transparent; color: #5A6472; }
QMenu::separator { background: #2C333D; height: 1px; margin: 4px 6px; }
QToolTip { background: #2A313B; color: #E6EAF0; border: 1px solid #353D49; padding: 4px; }

QStatusBar { background: #20252D; color: #8A93A2; border-top: 1px solid #2C333D; }
QStatusBar::item { border: none; }

QScrollBar:vertical { background: transparent; width: 10px; margin: 2px; }
QScrollBar::handle:vertical { background: #3A434F; border-radius: 5px; min-height: 28px; }
QScrollBar::handle:vertical:hover { background: #4A576A; }
QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; }
QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: transparent; }
QScrollBar:horizontal { background: transparent; height: 10px; margin: 2px; }
QScrollBar::handle:horizontal { background: #3A434F; border-radius: 3px; min-width: 28px; }
QScrollBar::handle:horizontal:hover { background: #4A576A; }
QScrollBar::add-line:horizontal, QScrollBar::sub-line:horizontal { width: 0; }
QScrollBar::add-page:horizontal, QScrollBar::sub-page:horizontal { background: transparent; }
)");
}
