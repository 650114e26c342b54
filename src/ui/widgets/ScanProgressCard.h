#pragma once

#include <QFrame>
#include <QPointer>

class ScanState;
class QLabel;
class QProgressBar;
class QPushButton;

// Shown while a scan runs: what it is doing, how far it is, and a way to stop it.
class ScanProgressCard : public QFrame {
    Q_OBJECT
public:
    explicit ScanProgressCard(ScanState &scans, QWidget *parent = nullptr);

    QPushButton *cancelButton() const { return cancel; }
    QLabel *titleLabel() const { return title; }
    QLabel *detailLabel() const { return detail; }

private:
    void refresh();

    QPointer<ScanState> scans;
    QLabel *title;
    QProgressBar *bar;
    QLabel *detail;
    QPushButton *cancel;
};
