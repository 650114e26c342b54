#pragma once

#include <QApplication>
#include <QDialog>
#include <QTimer>

#include <functional>
#include <memory>

// Runs `act` on the modal dialog of type T once an exec() further down has shown it, so a test can drive a
// dialog that blocks. Returns a flag that turns true when the dialog was met; when none of that type shows
// within a few seconds, whatever modal dialog there is gets rejected so that the test ends rather than hangs.
template <typename T> std::shared_ptr<bool> whenModal(std::function<void(T *)> act)
{
    auto met = std::make_shared<bool>(false);
    auto *poll = new QTimer;
    poll->setInterval(10);
    auto tries = std::make_shared<int>(0);
    QObject::connect(poll, &QTimer::timeout, poll, [poll, tries, met, act] {
        QWidget *modal = QApplication::activeModalWidget();
        if (auto *dialog = qobject_cast<T *>(modal); dialog && dialog->isVisible()) {
            poll->stop();
            poll->deleteLater();
            *met = true;
            act(dialog);
            return;
        }
        if (++*tries > 500) {
            poll->stop();
            poll->deleteLater();
            if (auto *other = qobject_cast<QDialog *>(modal))
                other->reject();
        }
    });
    poll->start();
    return met;
}
