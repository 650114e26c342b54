#include "ui/sheets/SingleTagSheetView.h"

#include "ui/widgets/Symbols.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

SingleTagSheetView::SingleTagSheetView(SingleTagSelectorSheet &model, QWidget *parent)
    : SheetDialog(QStringLiteral("Choose one or more tags"), parent), sheet(&model), filter(new QLineEdit(this)),
      listOrEmpty(new QStackedWidget(this)), list(new QListWidget(listOrEmpty)), empty(new QLabel(listOrEmpty)),
      count(new QLabel(this))
{
    setMinimumHeight(460);
    filter->setObjectName(QStringLiteral("filterField"));
    filter->setPlaceholderText(QStringLiteral("Filter tags"));
    filter->setClearButtonEnabled(true);
    filter->addAction(Symbols::icon(QStringLiteral("magnifyingglass")), QLineEdit::LeadingPosition);
    content()->addWidget(filter);

    list->setObjectName(QStringLiteral("tagList"));
    list->setSelectionMode(QAbstractItemView::NoSelection);
    empty->setObjectName(QStringLiteral("emptyLabel"));
    empty->setAlignment(Qt::AlignCenter);
    empty->setWordWrap(true);
    listOrEmpty->addWidget(list);
    listOrEmpty->addWidget(empty);
    content()->addWidget(listOrEmpty, 1);

    count->setObjectName(QStringLiteral("footerLabel"));
    footer()->insertWidget(0, count);

    connect(filter, &QLineEdit::textChanged, sheet, &SingleTagSelectorSheet::setQuery);
    // A click anywhere on the row toggles it; the box only shows the state.
    connect(list, &QListWidget::itemClicked, this,
            [this](QListWidgetItem *item) { sheet->toggle(item->data(Qt::UserRole).toString()); });
    connect(applyButton(), &QPushButton::clicked, sheet, &SingleTagSelectorSheet::apply);
    connect(sheet, &SingleTagSelectorSheet::changed, this, &SingleTagSheetView::refresh);
    refresh();
}

void SingleTagSheetView::cancelSheet()
{
    if (sheet)
        sheet->cancel();
}

void SingleTagSheetView::refresh()
{
    subtitle()->setText(sheet->subtitle());
    const QStringList tags = sheet->visibleTags();
    QStringList shown;
    for (int row = 0; row < list->count(); ++row)
        shown.append(list->item(row)->data(Qt::UserRole).toString());
    // Rebuilt only when the rows change, so a click keeps the list where it was.
    if (shown != tags) {
        list->clear();
        for (const QString &tag : tags) {
            auto *item = new QListWidgetItem(tag, list);
            item->setData(Qt::UserRole, tag);
            item->setFlags(Qt::ItemIsEnabled);
        }
    }
    for (int row = 0; row < list->count(); ++row) {
        QListWidgetItem *item = list->item(row);
        item->setCheckState(sheet->selected().contains(item->data(Qt::UserRole).toString()) ? Qt::Checked
                                                                                            : Qt::Unchecked);
    }
    const QString emptyText = sheet->emptyText();
    empty->setText(emptyText);
    listOrEmpty->setCurrentIndex(emptyText.isEmpty() ? 0 : 1);
    count->setText(sheet->footer());
    applyButton()->setText(sheet->applyLabel());
}
