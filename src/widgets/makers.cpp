#include "widgets/makers.h"

#include "lobby/shown_text.h"

#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QShortcut>
#include <QTableWidget>
#include <QTextDocument>

#include <utility>

namespace {

void collectTabStops(const QLayout* layout, QVector<QWidget*>& order) {
    for (int i = 0; layout != nullptr && i < layout->count(); ++i) {
        QWidget* widget = layout->itemAt(i)->widget();
        const auto* area = qobject_cast<QScrollArea*>(widget);
        if (widget == nullptr) {
            collectTabStops(layout->itemAt(i)->layout(), order);
        } else if (area != nullptr) {
            collectTabStops(area->widget()->layout(), order);
        } else if ((widget->focusPolicy() & Qt::TabFocus) != 0) {
            order.append(widget);
        } else {
            collectTabStops(widget->layout(), order);
        }
    }
}

class EnterPresses : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject* button, QEvent* event) override {
        const int key = event->type() == QEvent::KeyPress ? static_cast<QKeyEvent*>(event)->key() : 0;
        const bool presses = key == Qt::Key_Return || key == Qt::Key_Enter;
        if (presses) {
            static_cast<QPushButton*>(button)->click();
        }
        return presses;
    }
};

}  // namespace

QLabel* makeLabel(const QString& objectName, const QString& text) {
    auto* label = new QLabel;
    label->setTextFormat(Qt::PlainText);
    label->setText(text);
    label->setObjectName(objectName);
    return label;
}

QPushButton* makePrimaryButton(const QString& text) {
    auto* button = new QPushButton(text);
    button->setObjectName(QStringLiteral("primary"));
    return button;
}

QFrame* makePanel(const QString& objectName) {
    auto* panel = new QFrame;
    panel->setObjectName(objectName);
    return panel;
}

QFrame* makeTopbar(const QString& objectName, QLabel* title, std::initializer_list<QWidget*> right) {
    constexpr int kHeight = 56;
    QFrame* bar = makePanel(objectName);
    bar->setFixedHeight(kHeight);
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(18, 0, 18, 0);
    row->addWidget(title);
    row->addStretch();
    for (QWidget* widget : right) {
        row->addWidget(widget);
    }
    return bar;
}

QScrollArea* makeScrollArea(QWidget* content) {
    auto* area = new QScrollArea;
    area->setWidget(content);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setFocusPolicy(Qt::NoFocus);
    return area;
}

QFormLayout* makeOptionForm() {
    auto* form = new QFormLayout;
    form->setContentsMargins(0, 0, 0, 0);
    form->setLabelAlignment(Qt::AlignLeft);
    form->setFormAlignment(Qt::AlignTop);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->setHorizontalSpacing(8);
    form->setVerticalSpacing(7);
    return form;
}

QLabel* makeOptionCaption(const QString& key) {
    constexpr int kWidth = 100;  // leaves the drop-down more than half of the panel
    const QString shown = shownText(key);
    QLabel* caption = makeLabel(QString(), QString());
    caption->ensurePolished();  // the style sheet's font, by which the width is measured
    caption->setText(caption->fontMetrics().elidedText(shown, Qt::ElideRight, kWidth));
    if (caption->text() != key) {
        caption->setToolTip(plainTip(shown));
    }
    return caption;
}

void clearForm(QFormLayout* form) {
    while (form->rowCount() > 0) {
        const QFormLayout::TakeRowResult row = form->takeRow(form->rowCount() - 1);
        for (QLayoutItem* item : {row.labelItem, row.fieldItem}) {
            if (item != nullptr) {
                item->widget()->hide();
                item->widget()->deleteLater();
                delete item;
            }
        }
    }
}

QTableWidget* makeRowTable(const QStringList& captions, int yieldingColumn, int widest) {
    auto* table = new QTableWidget(0, captions.size());
    table->setHorizontalHeaderLabels(captions);
    table->verticalHeader()->hide();
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setTabKeyNavigation(false);
    table->setShowGrid(false);
    table->setWordWrap(false);
    QHeaderView* header = table->horizontalHeader();
    header->setHighlightSections(false);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setMaximumSectionSize(widest);
    sizeColumnsToContents(table, yieldingColumn);
    return table;
}

void holdColumns(QTableWidget* table) {
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
}

void sizeColumnsToContents(QTableWidget* table, int yieldingColumn) {
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table->horizontalHeader()->setSectionResizeMode(yieldingColumn, QHeaderView::Stretch);
}

int selectedRow(const QTableWidget* table) {
    return table->selectionModel()->selectedRows().value(0).row();
}

void tabInReadingOrder(const QWidget& page) {
    QVector<QWidget*> order;
    collectTabStops(page.layout(), order);
    for (int i = 1; i < order.size(); ++i) {
        QWidget::setTabOrder(order[i - 1], order[i]);
    }
}

void letEnterPress(QWidget& window) {
    auto* filter = new EnterPresses(&window);
    for (QPushButton* button : window.findChildren<QPushButton*>()) {
        button->installEventFilter(filter);
    }
}

void onEnter(QTableWidget* table, std::function<void()> act) {
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto* shortcut = new QShortcut(key, table, nullptr, nullptr, Qt::WidgetShortcut);
        shortcut->setAutoRepeat(false);
        QObject::connect(shortcut, &QShortcut::activated, table, act);
    }
}

void sizeWindow(QWidget& window, const QSize& size, const QSize& least, const QWidget* near) {
    constexpr QSize kFrame{16, 40};  // at most, with the title
    const QScreen* screen = (near == nullptr ? &window : near)->screen();
    const QSize room = screen->availableGeometry().size() - kFrame;
    window.setMinimumSize(least.boundedTo(room));
    window.resize(size.boundedTo(room));
}

QString plainTip(const QString& text) {
    const QString tip = shownText(text);
    return Qt::mightBeRichText(tip) ? Qt::convertFromPlainText(tip) : tip;
}

QString wholeTextTip(const QString& text) {
    return text.isEmpty() ? QString() : Qt::convertFromPlainText(text, Qt::WhiteSpaceNormal);
}
