#include "ui/widgets/ScanProgressCard.h"

#include "scan/ScanState.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

ScanProgressCard::ScanProgressCard(ScanState &state, QWidget *parent)
    : QFrame(parent), scans(&state), title(new QLabel(this)), bar(new QProgressBar(this)), detail(new QLabel(this)),
      cancel(new QPushButton(QStringLiteral("Cancel"), this))
{
    setObjectName(QStringLiteral("scanProgressCard"));
    setFrameShape(QFrame::StyledPanel);
    auto *layout = new QHBoxLayout(this);
    layout->addWidget(title);
    layout->addWidget(bar, 1);
    detail->setObjectName(QStringLiteral("scanProgressDetail"));
    layout->addWidget(detail);
    layout->addWidget(cancel);
    connect(cancel, &QPushButton::clicked, this, [this] {
        if (scans)
            scans->cancelScan();
    });
    connect(&state, &ScanState::scanningChanged, this, &ScanProgressCard::refresh);
    connect(&state, &ScanState::scanProgressChanged, this, &ScanProgressCard::refresh);
    refresh();
}

void ScanProgressCard::refresh()
{
    const bool running = scans && scans->isScanning();
    setVisible(running);
    if (!running)
        return;
    const auto progress = scans->scanProgress();
    title->setText(progress ? progress->title : QStringLiteral("Working…"));
    const QString bytes = progress ? progress->byteDetail() : QString();
    detail->setText(bytes);
    detail->setVisible(!bytes.isEmpty());
    if (!progress || progress->total == 0) {
        // The amount isn't known yet.
        bar->setRange(0, 0);
        return;
    }
    bar->setRange(0, progress->total);
    bar->setValue(progress->processed);
}
