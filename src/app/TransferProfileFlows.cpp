// The transfer profiles' import, export and delete, as the user runs them.
#include "app/AppState.h"

#include "foundation/Interaction.h"
#include "platform/NativeNames.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace {

const QString importSource = QStringLiteral("AppState.importTransferProfile");
const QString exportSource = QStringLiteral("AppState.exportTransferProfile");
const QString deleteSource = QStringLiteral("AppState.deleteTransferProfile");

// A file's name as a banner shows it: a name that isn't UTF-8 is escaped rather than mangled.
QString shownName(const QString &path)
{
    return NativeNames::display(QFileInfo(path).fileName());
}

} // namespace

void AppState::followTransferProfiles()
{
    connect(profileLibrary.get(), &TransferProfileStore::profilesChanged, this, [this] {
        // The editor can't stay on a profile that is gone.
        if (profileSelection && !transferProfile(*profileSelection))
            setTransferProfileSelection(std::nullopt);
    });
}

void AppState::setTransferProfileSelection(std::optional<QUuid> id)
{
    if (profileSelection != id) {
        profileSelection = id;
        emit transferProfileSelectionChanged();
    }
}

std::optional<TransferProfile> AppState::transferProfile(const QUuid &id) const
{
    const QList<TransferProfile> &profiles = profileLibrary->profiles();
    const auto found =
        std::find_if(profiles.cbegin(), profiles.cend(), [&id](const TransferProfile &p) { return p.id == id; });
    return found != profiles.cend() ? std::optional(*found) : std::nullopt;
}

bool AppState::addTransferProfile(const TransferProfile &profile)
{
    if (const auto failure = profileLibrary->save(profile)) {
        showFailure(QStringLiteral("Couldn't save “%1”: %2").arg(profile.name, *failure));
        return false;
    }
    setTransferProfileSelection(profile.id);
    return true;
}

std::optional<TransferProfile> AppState::importTransferProfile(const QString &path)
{
    QString reason;
    std::optional<TransferProfile> imported = profileLibrary->importProfile(path, &reason);
    if (!imported) {
        showFailure(QStringLiteral("Couldn't import “%1”: %2").arg(shownName(path), reason));
        log->record(ActionReceipt::Kind::errorSwallow, importSource, std::nullopt, shownName(path), reason);
        return std::nullopt;
    }
    setTransferProfileSelection(imported->id);
    showSuccess(QStringLiteral("Imported “%1” from %2.").arg(imported->name, shownName(path)));
    log->record(ActionReceipt::Kind::cmd, importSource, std::nullopt,
                QStringLiteral("ok id=%1 rules=%2")
                    .arg(imported->id.toString(QUuid::WithoutBraces).toUpper())
                    .arg(imported->rules.size()));
    return imported;
}

void AppState::importTransferProfileFromDisk()
{
    PanelRequest panel;
    panel.title = QStringLiteral("Import a transfer profile");
    panel.message = QStringLiteral("Pick a .vantreltransfer file to add to your profile library.");
    const QStringList chosen = asker.panel(panel);
    if (!chosen.isEmpty())
        importTransferProfile(chosen.first());
}

bool AppState::exportTransferProfile(const QUuid &id, const QString &path)
{
    const std::optional<TransferProfile> profile = transferProfile(id);
    if (!profile)
        return false;
    if (const auto failure = profileLibrary->exportProfile(*profile, path)) {
        showFailure(QStringLiteral("Couldn't export “%1”: %2").arg(profile->name, *failure));
        return false;
    }
    const QFileInfo info(path);
    showSuccess(QStringLiteral("Exported “%1” to %2/%3.")
                    .arg(profile->name, NativeNames::display(info.dir().dirName()), shownName(path)));
    log->record(ActionReceipt::Kind::cmd, exportSource, std::nullopt, QStringLiteral("ok path=%1").arg(path));
    return true;
}

void AppState::exportTransferProfileToDisk(const QUuid &id)
{
    const std::optional<TransferProfile> profile = transferProfile(id);
    if (!profile)
        return;
    PanelRequest panel;
    panel.mode = PanelRequest::Mode::save;
    panel.title = QStringLiteral("Export transfer profile");
    panel.message = QStringLiteral("Save the profile as a .vantreltransfer file you can share.");
    panel.suggestedName = profile->name + QStringLiteral(".vantreltransfer");
    panel.canCreateDirectories = true;
    const QStringList chosen = asker.panel(panel);
    if (chosen.isEmpty())
        return;
    QString path = chosen.first();
    if (QFileInfo(path).suffix() != QLatin1String("vantreltransfer"))
        path += QStringLiteral(".vantreltransfer");
    // Nothing is replaced unasked; the old file goes only once the new one is complete.
    if (QFileInfo::exists(path) &&
        asker.alert({QStringLiteral("“%1” already exists.").arg(shownName(path)),
                     QStringLiteral("Replacing it overwrites its current contents once the new file is complete."),
                     {QStringLiteral("Replace"), QStringLiteral("Cancel")}}) != 0)
        return;
    exportTransferProfile(id, path);
}

bool AppState::deleteTransferProfile(const QUuid &id)
{
    const std::optional<TransferProfile> profile = transferProfile(id);
    if (!profile)
        return false;
    const AlertRequest confirm{
        QStringLiteral("Delete \"%1\"?").arg(profile->name),
        QStringLiteral("The profile will be removed from this Mac. Files routed by this profile in the past are not "
                       "affected."),
        {QStringLiteral("Delete"), QStringLiteral("Cancel")}};
    if (asker.alert(confirm) != 0)
        return false;
    if (const auto failure = profileLibrary->remove(*profile)) {
        showFailure(QStringLiteral("Couldn't delete “%1”: %2").arg(profile->name, *failure));
        return false;
    }
    log->record(ActionReceipt::Kind::cmd, deleteSource, profile->name, QStringLiteral("deleted"));
    return true;
}
