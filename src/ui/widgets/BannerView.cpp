#include "ui/widgets/BannerView.h"

#include "app/AppState.h"
#include "ui/widgets/Symbols.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

BannerView::BannerView(AppState &appState, QWidget *parent)
    : QFrame(parent), state(&appState), label(new QLabel(this)), dismiss(new QToolButton(this))
{
    setObjectName(QStringLiteral("packBanner"));
    label->setObjectName(QStringLiteral("packBannerMessage"));
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    dismiss->setObjectName(QStringLiteral("packBannerDismiss"));
    dismiss->setIcon(Symbols::icon(QStringLiteral("xmark")));
    dismiss->setToolTip(QStringLiteral("Dismiss"));
    dismiss->setAccessibleName(QStringLiteral("Dismiss"));
    dismiss->setAutoRaise(true);

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 8, 8, 8);
    layout->addWidget(label, 1);
    layout->addWidget(dismiss, 0, Qt::AlignTop);

    connect(dismiss, &QToolButton::clicked, this, [this] {
        if (state)
            state->setPackBanner(std::nullopt);
    });
    connect(&appState, &AppState::packBannerChanged, this, &BannerView::refresh);
    refresh();
}

QString BannerView::message() const
{
    return label->text();
}

void BannerView::refresh()
{
    const auto banner = state ? state->packBanner() : std::nullopt;
    setVisible(banner.has_value());
    if (!banner) {
        label->clear();
        return;
    }
    label->setText(banner->message);
    const bool failure = banner->tone == AppState::PackBanner::Tone::failure;
    setProperty("tone", AppState::PackBanner::toString(banner->tone));
    setStyleSheet(failure
                      ? QStringLiteral("#packBanner { background: #FDECEC; border: 1px solid #E5484D; border-radius: "
                                       "6px; } #packBannerMessage { color: #8A1C1F; }")
                      : QStringLiteral("#packBanner { background: #E8F7EF; border: 1px solid #30A46C; border-radius: "
                                       "6px; } #packBannerMessage { color: #18593A; }"));
}
