#include "cli/FollowOnSessions.h"

#include "app/AppState.h"

#include <algorithm>
#include <array>
#include <utility>
#include <variant>

namespace {

using HeadlessSheets::Setting;

// What opening a follow-on came to: the session opened, nothing to follow (the first session didn't
// finish), or why it can't be opened.
using Opened = std::variant<Session *, std::monostate, QString>;

struct FollowOn {
    const char *workflowID;
    const char *opener;
    // Its own fields; the unused places are empty.
    std::array<const char *, 4> fields;
    Opened (*open)(AppState &state, const QString &value);
};

Opened openOrganizer(AppState &state, const QString &project)
{
    ProjectDetectorSession *detector = state.projectDetectorSession();
    const auto *finished = detector ? std::get_if<ProjectDetectorSession::done>(&detector->phase()) : nullptr;
    if (!finished)
        return std::monostate{};
    const auto found = ProjectOrganizerSession::findProject(finished->results, project);
    if (const auto *refusal = std::get_if<QString>(&found))
        return *refusal;
    auto *organizer = new ProjectOrganizerSession(state, std::get<ProjectOrganizerSession::DetectedProject>(found),
                                                  finished->results.looseFiles);
    state.setProjectOrganizerSession(organizer);
    // The detector's results are handed on; from here the run is the organizer's.
    detector->close();
    return organizer;
}

// The snapshot of a project the detector found: the destination comes from --dest, which answers the
// sheet's folder panel, or from `destinationURL`.
Opened openSnapshot(AppState &state, const QString &project)
{
    ProjectDetectorSession *detector = state.projectDetectorSession();
    const auto *finished = detector ? std::get_if<ProjectDetectorSession::done>(&detector->phase()) : nullptr;
    if (!finished)
        return std::monostate{};
    const auto found = ProjectOrganizerSession::findProject(finished->results, project);
    if (const auto *refusal = std::get_if<QString>(&found))
        return *refusal;
    const QString root = std::get<ProjectOrganizerSession::DetectedProject>(found).structure.projectRoot;
    detector->close();
    return state.openProjectSnapshot(root);
}

const std::array<FollowOn, 2> followOns{{
    {"project-detector", "organize", {"moveMode", "selectedSources", nullptr, nullptr}, openOrganizer},
    {"project-detector", "snapshot", {"format", "name", "includeGitHistory", "destinationURL"}, openSnapshot},
}};

const FollowOn *named(const QString &workflowID, const QString &opener)
{
    const auto found = std::find_if(followOns.cbegin(), followOns.cend(), [&](const FollowOn &followOn) {
        return workflowID == QLatin1String(followOn.workflowID) && opener == QLatin1String(followOn.opener);
    });
    return found == followOns.cend() ? nullptr : &*found;
}

} // namespace

std::optional<FollowOnSessions::Pending> FollowOnSessions::take(const QString &workflowID, QList<Setting> &settings)
{
    const auto opener = std::find_if(settings.cbegin(), settings.cend(),
                                     [&](const Setting &setting) { return named(workflowID, setting.name); });
    if (opener == settings.cend())
        return std::nullopt;
    const FollowOn &followOn = *named(workflowID, opener->name);
    Pending pending{workflowID, *opener, {}};
    QList<Setting> rest;
    for (const Setting &setting : std::as_const(settings)) {
        if (setting.name == QLatin1String(followOn.opener))
            continue;
        const bool own = std::any_of(followOn.fields.cbegin(), followOn.fields.cend(),
                                     [&](const char *field) { return field && setting.name == QLatin1String(field); });
        (own ? pending.settings : rest).append(setting);
    }
    settings = rest;
    return pending;
}

std::optional<QString> FollowOnSessions::open(AppState &state, const Pending &pending, bool perform)
{
    const FollowOn *followOn = named(pending.workflowID, pending.opener.name);
    if (!followOn)
        return std::nullopt;
    const Opened opened = followOn->open(state, pending.opener.value);
    if (const auto *refusal = std::get_if<QString>(&opened)) {
        for (Session *session : state.sessions())
            session->close();
        return *refusal;
    }
    if (std::holds_alternative<std::monostate>(opened))
        return std::nullopt;
    return HeadlessSheets::complete(state, pending.settings, perform);
}
