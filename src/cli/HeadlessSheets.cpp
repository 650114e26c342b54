#include "cli/HeadlessSheets.h"

#include "app/AppState.h"
#include "foundation/Session.h"

#include <algorithm>

namespace {

using HeadlessSheets::Setting;

// "a", "a and b", "a, b and c".
QString spoken(const QStringList &names)
{
    if (names.size() < 2)
        return names.value(0);
    return QStringList(names.first(names.size() - 1)).join(QStringLiteral(", ")) + QStringLiteral(" and ") +
           names.last();
}

// Sets the fields in the order given, then performs. Returns why it can't.
std::optional<QString> fill(Session &session, const QList<Setting> &settings, bool perform)
{
    const QList<Session::Field> fields = session.fields();
    QStringList set;
    for (const Setting &setting : settings) {
        const auto field = std::find_if(fields.cbegin(), fields.cend(),
                                        [&](const Session::Field &f) { return f.name == setting.name; });
        if (field == fields.cend()) {
            QStringList names;
            for (const Session::Field &f : fields)
                names.append(f.name);
            return QStringLiteral("%1 has no field “%2”; it takes %3.")
                .arg(session.title(), setting.name, spoken(names));
        }
        if (auto refusal = field->set(setting.value))
            return refusal;
        set.append(setting.name);
    }
    if (auto missing = session.missingFields(set))
        return missing;
    // A dry run stops at the filled sheet: it shows what the primary button would do, and nothing is done.
    if (!perform)
        return session.planOnly();
    return session.perform();
}

} // namespace

std::optional<Setting> HeadlessSheets::parseSetting(const QString &word)
{
    const qsizetype equals = word.indexOf(QLatin1Char('='));
    if (equals <= 0)
        return std::nullopt;
    return Setting{word.left(equals), word.mid(equals + 1)};
}

std::optional<QString> HeadlessSheets::complete(AppState &state, const QList<Setting> &settings, bool perform)
{
    const QList<Session *> open = state.sessions();
    if (open.isEmpty()) {
        if (settings.isEmpty())
            return std::nullopt;
        return QStringLiteral("--set fills a sheet, and this run opened none.");
    }
    auto problem = fill(*open.first(), settings, perform);
    if (problem) {
        for (Session *session : state.sessions())
            session->close();
    }
    return problem;
}
