#pragma once

#include "foundation/Session.h"
#include "metadata/CommentTemplate.h"
#include "metadata/FinderMetadata.h"
#include "metadata/sheets/SheetContexts.h"

#include <QSet>
#include <QUuid>

class CommentTemplateStore;

// What the Comment Templates sheet shows and does: tick saved templates, edit
// the text they add up to, and write it to every target, replacing or appending.
class CommentTemplatePickerSheet : public Session {
    Q_OBJECT
public:
    CommentTemplatePickerSheet(SessionHost &host, CommentTemplateStore &store, CommentTemplateContext context,
                               QObject *parent = nullptr);

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

    // Writes the body to every target and closes.
    void apply();

    QString title() const override;
    // selectedTemplateIDs (ids or names), customBody, mode.
    QList<Field> fields() override;
    std::optional<QString> perform() override;
    QJsonObject toJson() const override;

private:
    void rebuildBody();

    CommentTemplateStore *store;
    CommentTemplateContext sheetContext;
    QSet<QUuid> ticked;
    QString body;
    FinderMetadata::ApplyMode applyMode = FinderMetadata::ApplyMode::replace;
    bool adding = false;
    QString draftName;
    QString draftBody;
};
