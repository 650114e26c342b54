#pragma once

#include "metadata/CommentTemplate.h"
#include "metadata/FinderMetadata.h"
#include "metadata/sheets/SheetContexts.h"

#include <QObject>
#include <QPointer>
#include <QSet>
#include <QUuid>

class AppState;

// What the Comment Templates sheet shows and does: tick saved templates, edit
// the text they add up to, and write it to every target, replacing or appending.
class CommentTemplatePickerSheet : public QObject {
    Q_OBJECT
public:
    CommentTemplatePickerSheet(AppState &state, CommentTemplateContext context, QObject *parent = nullptr);

    const CommentTemplateContext &context() const { return sheetContext; }
    const QList<CommentTemplate> &templates() const;

    const QSet<QUuid> &selectedTemplateIDs() const { return ticked; }
    // Ticking or unticking rebuilds the body from the ticked templates, dropping
    // hand edits.
    void setTicked(const QUuid &id, bool on);
    QString customBody() const { return body; }
    void setCustomBody(const QString &text);
    FinderMetadata::ApplyMode mode() const { return applyMode; }
    void setMode(FinderMetadata::ApplyMode value);
    bool addingTemplate() const { return adding; }
    void setAddingTemplate(bool value);
    QString newTemplateName() const { return draftName; }
    void setNewTemplateName(const QString &value) { draftName = value; }
    QString newTemplateBody() const { return draftBody; }
    void setNewTemplateBody(const QString &value) { draftBody = value; }

    // "2 files selected"
    QString subtitle() const;
    // What the chosen mode does to an existing comment.
    QString modeExplanation() const;
    QString applyLabel() const;

    void deleteTemplate(const QUuid &id);
    // "Save template": stores the draft, ticks it and closes the form.
    void saveNewTemplate();
    void cancelNewTemplate();

    void apply();
    void cancel();

signals:
    void changed();

private:
    void rebuildBody();

    QPointer<AppState> state;
    CommentTemplateContext sheetContext;
    QSet<QUuid> ticked;
    QString body;
    FinderMetadata::ApplyMode applyMode = FinderMetadata::ApplyMode::replace;
    bool adding = false;
    QString draftName;
    QString draftBody;
};
