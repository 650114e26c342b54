#pragma once

#include "platform/Paths.h"

#include <QDir>
#include <QDirIterator>
#include <QProcess>

#include <gtest/gtest.h>

// Copies the user's own Quick Actions from the fixtures into the Services folder: bundles without
// Vantrel's prefix, which no flow may ever touch.
inline void addUsersOwnQuickActions()
{
    const QString services = Paths::servicesFolder();
    QDir().mkpath(services);
    QDirIterator it(QStringLiteral(VANTREL_FIXTURES_DIR "/automator-workflows"), {QStringLiteral("*.workflow")},
                    QDir::Dirs, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString bundle = it.next();
        if (QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-a"), bundle, services}) != 0)
            ADD_FAILURE() << "couldn't copy the fixture " << bundle.toStdString();
    }
}
