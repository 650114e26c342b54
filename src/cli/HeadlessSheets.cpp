#include "cli/HeadlessSheets.h"

#include "app/AppState.h"
#include "foundation/Interaction.h"
#include "metadata/sheets/CommentTemplatePickerSheet.h"
#include "metadata/sheets/TaggingSheets.h"
#include "metadata/sheets/TextCommentToolsSheet.h"
#include "transfer/stitch/StitchSession.h"

#include <QFileInfo>

#include <algorithm>

namespace {

using HeadlessSheets::Setting;

QStringList listValue(const QString &value)
{
    QStringList items;
    for (const QString &piece : value.split(QLatin1Char(','))) {
        if (!piece.trimmed().isEmpty())
            items.append(piece.trimmed());
    }
    return items;
}

QString unknownField(const QString &sheet, const QString &field, const QString &known)
{
    return QStringLiteral("%1 has no field “%2”; it takes %3.").arg(sheet, field, known);
}

// A run that changes files is told what to write: a sheet's starting values (no tags, no category, an
// empty body that replaces) are what a person looks at before pressing Apply, never what a script
// gets for leaving a field out. Set to empty on purpose, a field counts as set.
std::optional<QString> missingContent(const QString &sheet, const QList<Setting> &settings, const QStringList &fields,
                                      const QString &usage)
{
    for (const Setting &setting : settings) {
        if (fields.contains(setting.name))
            return std::nullopt;
    }
    return QStringLiteral("%1 changes files, so it needs %2; nothing was changed.").arg(sheet, usage);
}

// An id or, failing that, a name: exact first, then without regard to case.
template <typename T> std::optional<QUuid> findByIDOrName(const QList<T> &list, const QString &key)
{
    const QUuid id = QUuid::fromString(key);
    for (const T &item : list) {
        if ((!id.isNull() && item.id == id) || item.name == key)
            return item.id;
    }
    for (const T &item : list) {
        if (item.name.compare(key, Qt::CaseInsensitive) == 0)
            return item.id;
    }
    return std::nullopt;
}

std::optional<QString> completeSingleTag(AppState &state, const QList<Setting> &settings)
{
    SingleTagSelectorSheet sheet(state, *state.singleTagSelectorContext());
    const QStringList library = state.categoryStore().allTags();
    for (const Setting &setting : settings) {
        if (setting.name == QLatin1String("query")) {
            sheet.setQuery(setting.value);
        } else if (setting.name == QLatin1String("selected")) {
            QSet<QString> picked;
            for (const QString &tag : listValue(setting.value)) {
                if (!library.contains(tag))
                    return QStringLiteral("No tag “%1” in the library.").arg(tag);
                picked.insert(tag);
            }
            sheet.setSelected(picked);
        } else {
            return unknownField(QStringLiteral("Single Tag Selector"), setting.name,
                                QStringLiteral("selected and query"));
        }
    }
    if (auto missing = missingContent(QStringLiteral("Single Tag Selector"), settings, {QStringLiteral("selected")},
                                      QStringLiteral("--set selected=TAG,…")))
        return missing;
    sheet.apply();
    return std::nullopt;
}

std::optional<QString> completeCategoryTagging(AppState &state, const QList<Setting> &settings)
{
    CategoryTaggingSheet sheet(state, *state.categoryTaggingContext());
    for (const Setting &setting : settings) {
        if (setting.name == QLatin1String("selectedCategoryID")) {
            const auto id = findByIDOrName(state.categories(), setting.value.trimmed());
            if (!id)
                return QStringLiteral("No category “%1” in the library.").arg(setting.value);
            sheet.setSelectedCategoryID(id);
        } else if (setting.name == QLatin1String("draftName")) {
            sheet.setDraftName(setting.value);
        } else if (setting.name == QLatin1String("draftTags")) {
            sheet.setDraftTags(setting.value);
        } else {
            return unknownField(QStringLiteral("Tag Category Selector"), setting.name,
                                QStringLiteral("selectedCategoryID, draftName and draftTags"));
        }
    }
    if (auto missing = missingContent(QStringLiteral("Tag Category Selector"), settings,
                                      {QStringLiteral("selectedCategoryID"), QStringLiteral("draftName")},
                                      QStringLiteral("--set selectedCategoryID=ID-or-name or --set draftName=NAME")))
        return missing;
    // A draft goes through the inline form, which also selects it.
    // A draft the library's rules refuse is bad usage; one the disk refused ends the run on the failure
    // banner. Either way no file is tagged.
    if (!sheet.draftName().trimmed().isEmpty() && !sheet.saveDraft()) {
        if (!sheet.draftRefusal().isEmpty())
            return sheet.draftRefusal();
        return std::nullopt;
    }
    if (!sheet.selectedCategory())
        return QStringLiteral("Choose a category with --set selectedCategoryID=ID-or-name.");
    sheet.apply();
    return std::nullopt;
}

std::optional<QString> completeCommentTemplates(AppState &state, const QList<Setting> &settings)
{
    CommentTemplatePickerSheet sheet(state, *state.commentTemplateContext());
    for (const Setting &setting : settings) {
        if (setting.name == QLatin1String("mode")) {
            const auto mode = FinderMetadata::applyModeFromString(setting.value);
            if (!mode)
                return QStringLiteral("mode is replace or append, not “%1”.").arg(setting.value);
            sheet.setMode(*mode);
        } else if (setting.name == QLatin1String("customBody")) {
            sheet.setCustomBody(setting.value);
        } else if (setting.name == QLatin1String("selectedTemplateIDs")) {
            const QSet<QUuid> previous = sheet.selectedTemplateIDs();
            for (const QUuid &id : previous)
                sheet.setTicked(id, false);
            for (const QString &key : listValue(setting.value)) {
                const auto id = findByIDOrName(sheet.templates(), key);
                if (!id)
                    return QStringLiteral("No comment template “%1”.").arg(key);
                sheet.setTicked(*id, true);
            }
        } else {
            return unknownField(QStringLiteral("Comment Templates"), setting.name,
                                QStringLiteral("selectedTemplateIDs, customBody and mode"));
        }
    }
    if (auto missing =
            missingContent(QStringLiteral("Comment Templates"), settings,
                           {QStringLiteral("selectedTemplateIDs"), QStringLiteral("customBody")},
                           QStringLiteral("--set selectedTemplateIDs=ID-or-name,… or --set customBody=TEXT")))
        return missing;
    sheet.apply();
    return std::nullopt;
}

std::optional<QString> completeTextTools(AppState &state, const QList<Setting> &settings)
{
    TextCommentToolsSheet sheet(state, *state.textCommentToolsContext());
    for (const Setting &setting : settings) {
        if (setting.name == QLatin1String("action")) {
            auto kind = TextCommentToolsSheet::actionKindFromCaseName(setting.value);
            if (!kind)
                kind = TextCommentToolsSheet::actionKindFromString(setting.value);
            if (!kind)
                return QStringLiteral("No action “%1”; choose prependFilename, appendFilename, replaceInFilename, "
                                      "addToComment, removeFromComment or clearComment.")
                    .arg(setting.value);
            sheet.setAction(*kind);
        } else if (setting.name == QLatin1String("primary")) {
            sheet.setPrimary(setting.value);
        } else if (setting.name == QLatin1String("replacement")) {
            sheet.setReplacement(setting.value);
        } else if (setting.name == QLatin1String("separator")) {
            // The value itself, or the label the sheet shows for it ("space", "None").
            QString value = setting.value;
            for (const auto &choice : TextCommentToolsSheet::separators()) {
                if (setting.value == choice.label)
                    value = choice.value;
            }
            sheet.setSeparator(value);
        } else {
            return unknownField(QStringLiteral("Text & Comment Tools"), setting.name,
                                QStringLiteral("action, primary, replacement and separator"));
        }
    }
    if (sheet.action() != TextCommentToolsSheet::ActionKind::clearComment && sheet.primary().isEmpty())
        return QStringLiteral("%1 needs --set primary=TEXT.").arg(TextCommentToolsSheet::toString(sheet.action()));
    if (auto problem = sheet.problem())
        return problem;
    sheet.apply();
    return std::nullopt;
}

// Stitch needs no field set: it changes no file it was given, only writes a new one made from them
// (a taken name is replaced only when the "already exists" question is answered Replace), so the
// window's starting values are a fair way to run it.
std::optional<QString> startStitch(AppState &state, const QList<Setting> &settings)
{
    StitchSession &session = *state.stitchSession();
    for (const Setting &setting : settings) {
        const QString &value = setting.value;
        if (setting.name == QLatin1String("mode")) {
            const auto mode = StitchRunner::modeFromString(value);
            if (!mode)
                return QStringLiteral("mode is pdf or image, not “%1”.").arg(value);
            session.setMode(*mode);
        } else if (setting.name == QLatin1String("layout")) {
            const auto layout = StitchRunner::layoutFromString(value);
            if (!layout)
                return QStringLiteral("layout is vertical, horizontal or grid, not “%1”.").arg(value);
            session.setLayout(*layout);
        } else if (setting.name == QLatin1String("resolution")) {
            const auto resolution = StitchSession::resolutionFromString(value);
            if (!resolution)
                return QStringLiteral("resolution is full, large, medium or small, not “%1”.").arg(value);
            session.setResolution(*resolution);
        } else if (setting.name == QLatin1String("spacing")) {
            bool ok = false;
            const double spacing = value.toDouble(&ok);
            if (!ok)
                return QStringLiteral("spacing is a number of pixels, not “%1”.").arg(value);
            session.setSpacing(spacing);
        } else if (setting.name == QLatin1String("backgroundIsWhite")) {
            if (value != QLatin1String("true") && value != QLatin1String("false"))
                return QStringLiteral("backgroundIsWhite is true or false, not “%1”.").arg(value);
            session.setBackgroundIsWhite(value == QLatin1String("true"));
        } else if (setting.name == QLatin1String("outputBaseName")) {
            session.setOutputBaseName(value);
        } else if (setting.name == QLatin1String("destinationURL")) {
            session.setDestinationURL(QFileInfo(value).absoluteFilePath());
        } else {
            return unknownField(QStringLiteral("Stitch to PDF or Image"), setting.name,
                                QStringLiteral("mode, layout, resolution, spacing, backgroundIsWhite, outputBaseName "
                                               "and destinationURL"));
        }
    }
    if (!session.destinationURL()) {
        // The sheet's own folder panel, which --dest answers.
        PanelRequest panel;
        panel.title = QStringLiteral("Choose a destination folder");
        panel.canChooseFiles = false;
        panel.canChooseDirectories = true;
        const QStringList chosen = state.interaction().panel(panel);
        if (!chosen.isEmpty())
            session.setDestinationURL(QFileInfo(chosen.first()).absoluteFilePath());
    }
    session.start();
    return std::nullopt;
}

void closeSheets(AppState &state)
{
    state.setSingleTagSelectorContext(std::nullopt);
    state.setCategoryTaggingContext(std::nullopt);
    state.setCommentTemplateContext(std::nullopt);
    state.setTextCommentToolsContext(std::nullopt);
    state.setStitchSession(nullptr);
}

} // namespace

std::optional<Setting> HeadlessSheets::parseSetting(const QString &word)
{
    const qsizetype equals = word.indexOf(QLatin1Char('='));
    if (equals <= 0)
        return std::nullopt;
    return Setting{word.left(equals), word.mid(equals + 1)};
}

std::optional<QString> HeadlessSheets::complete(AppState &state, const QList<Setting> &settings)
{
    std::optional<QString> problem;
    if (state.singleTagSelectorContext())
        problem = completeSingleTag(state, settings);
    else if (state.categoryTaggingContext())
        problem = completeCategoryTagging(state, settings);
    else if (state.commentTemplateContext())
        problem = completeCommentTemplates(state, settings);
    else if (state.textCommentToolsContext())
        problem = completeTextTools(state, settings);
    else if (state.stitchSession())
        problem = startStitch(state, settings);
    else if (!settings.isEmpty())
        problem = QStringLiteral("--set fills a sheet, and this run opened none.");
    if (problem)
        closeSheets(state);
    return problem;
}
