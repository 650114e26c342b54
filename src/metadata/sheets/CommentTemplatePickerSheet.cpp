#include "metadata/sheets/CommentTemplatePickerSheet.h"

#include "foundation/Plural.h"
#include "foundation/SessionHost.h"
#include "metadata/CommentTemplateStore.h"
#include "metadata/sheets/CommentWrites.h"
#include "metadata/sheets/FindByIDOrName.h"

CommentTemplatePickerSheet::CommentTemplatePickerSheet(SessionHost &host, CommentTemplateStore &templateStore,
                                                       CommentTemplateContext context, QObject *parent)
    : Session(host, context.targets, parent), store(&templateStore), sheetContext(std::move(context))
{
    connect(store, &CommentTemplateStore::templatesChanged, this, &CommentTemplatePickerSheet::changed);
}

const QList<CommentTemplate> &CommentTemplatePickerSheet::templates() const
{
    return store->templates();
}

void CommentTemplatePickerSheet::setTicked(const QUuid &id, bool on)
{
    if (on)
        ticked.insert(id);
    else
        ticked.remove(id);
    rebuildBody();
    emit changed();
}

void CommentTemplatePickerSheet::rebuildBody()
{
    QStringList bodies;
    for (const CommentTemplate &commentTemplate : templates()) {
        if (ticked.contains(commentTemplate.id))
            bodies.append(commentTemplate.body);
    }
    body = bodies.join(QLatin1Char('\n'));
}

void CommentTemplatePickerSheet::setCustomBody(const QString &text)
{
    if (body == text)
        return;
    body = text;
    emit changed();
}

void CommentTemplatePickerSheet::setMode(FinderMetadata::ApplyMode value)
{
    if (applyMode == value)
        return;
    applyMode = value;
    emit changed();
}

void CommentTemplatePickerSheet::setAddingTemplate(bool value)
{
    if (adding == value)
        return;
    adding = value;
    emit changed();
}

QString CommentTemplatePickerSheet::subtitle() const
{
    return QStringLiteral("%1 selected").arg(counted(sheetContext.targets.size(), QStringLiteral("file")));
}

QString CommentTemplatePickerSheet::modeExplanation() const
{
    return applyMode == FinderMetadata::ApplyMode::replace
               ? QStringLiteral("Existing comments are overwritten.")
               : QStringLiteral("New text is appended on a new line, existing comments are kept.");
}

QString CommentTemplatePickerSheet::applyLabel() const
{
    return QStringLiteral("Apply to %1").arg(counted(sheetContext.targets.size(), QStringLiteral("file")));
}

void CommentTemplatePickerSheet::deleteTemplate(const QUuid &id)
{
    // Untick first so the list's change finds the sheet already consistent.
    ticked.remove(id);
    if (const auto error = store->remove(id))
        host()->showFailure(*error, {});
    emit changed();
}

void CommentTemplatePickerSheet::saveNewTemplate()
{
    const QString name = draftName.trimmed().isEmpty() ? QStringLiteral("Untitled") : draftName;
    const CommentTemplate commentTemplate{QUuid::createUuid(), name, draftBody};
    if (const auto error = store->add(commentTemplate)) {
        // The draft stays in the form; the banner says why it wasn't saved.
        host()->showFailure(*error, {});
        return;
    }
    ticked.insert(commentTemplate.id);
    rebuildBody();
    adding = false;
    draftName.clear();
    draftBody.clear();
    emit changed();
}

void CommentTemplatePickerSheet::cancelNewTemplate()
{
    adding = false;
    draftName.clear();
    draftBody.clear();
    emit changed();
}

void CommentTemplatePickerSheet::apply()
{
    CommentWrites::applyComment(*host(), body, applyMode, sheetContext.targets);
    close();
}

QString CommentTemplatePickerSheet::title() const
{
    return QStringLiteral("Comment Templates");
}

QList<Session::Field> CommentTemplatePickerSheet::fields()
{
    const auto tick = [this](const QString &value) -> std::optional<QString> {
        QSet<QUuid> chosen;
        for (const QString &key : listValue(value)) {
            const auto id = findByIDOrName(templates(), key);
            if (!id)
                return QStringLiteral("No comment template “%1”.").arg(key);
            chosen.insert(*id);
        }
        for (const QUuid &id : QSet<QUuid>(ticked))
            setTicked(id, false);
        for (const QUuid &id : chosen)
            setTicked(id, true);
        return std::nullopt;
    };
    const auto text = [this](const QString &value) -> std::optional<QString> {
        setCustomBody(value);
        return std::nullopt;
    };
    const auto chooseMode = [this](const QString &value) -> std::optional<QString> {
        const auto parsed = FinderMetadata::applyModeFromString(value);
        if (!parsed)
            return QStringLiteral("mode is replace or append, not “%1”.").arg(value);
        setMode(*parsed);
        return std::nullopt;
    };
    return {{QStringLiteral("selectedTemplateIDs"), QStringLiteral("ID-or-name,…"), tick, true},
            {QStringLiteral("customBody"), QStringLiteral("TEXT"), text, true},
            {QStringLiteral("mode"), QStringLiteral("replace or append"), chooseMode}};
}

std::optional<QString> CommentTemplatePickerSheet::perform()
{
    apply();
    return std::nullopt;
}

QJsonObject CommentTemplatePickerSheet::toJson() const
{
    QJsonObject object = Session::toJson();
    object.insert(QStringLiteral("customBody"), body);
    object.insert(QStringLiteral("mode"), FinderMetadata::toString(applyMode));
    return object;
}
