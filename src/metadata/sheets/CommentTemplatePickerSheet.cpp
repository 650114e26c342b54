#include "metadata/sheets/CommentTemplatePickerSheet.h"

#include "app/AppState.h"
#include "foundation/Plural.h"

CommentTemplatePickerSheet::CommentTemplatePickerSheet(AppState &appState, CommentTemplateContext context,
                                                       QObject *parent)
    : QObject(parent), state(&appState), sheetContext(std::move(context))
{
    connect(&appState.commentTemplateStore(), &CommentTemplateStore::templatesChanged, this,
            &CommentTemplatePickerSheet::changed);
}

const QList<CommentTemplate> &CommentTemplatePickerSheet::templates() const
{
    static const QList<CommentTemplate> none;
    return state ? state->commentTemplateStore().templates() : none;
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
    if (!state)
        return;
    // Untick first so the list's change finds the sheet already consistent.
    ticked.remove(id);
    if (const auto error = state->commentTemplateStore().remove(id))
        state->showFailure(*error);
    emit changed();
}

void CommentTemplatePickerSheet::saveNewTemplate()
{
    if (!state)
        return;
    const QString name = draftName.trimmed().isEmpty() ? QStringLiteral("Untitled") : draftName;
    const CommentTemplate commentTemplate{QUuid::createUuid(), name, draftBody};
    if (const auto error = state->commentTemplateStore().add(commentTemplate)) {
        // The draft stays in the form; the banner says why it wasn't saved.
        state->showFailure(*error);
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
    if (state)
        state->applyComment(body, applyMode, sheetContext.targets);
}

void CommentTemplatePickerSheet::cancel()
{
    if (state)
        state->setCommentTemplateContext(std::nullopt);
}
