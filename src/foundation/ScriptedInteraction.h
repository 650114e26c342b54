#pragma once

#include "foundation/Interaction.h"

#include <QHash>
#include <QJsonArray>
#include <QList>
#include <QString>

#include <optional>

// Answers panels and alerts from a script: each question takes the first unused
// entry whose `match` begins the panel's title or the alert's message, and uses
// it up. What no entry answers is cancelled, which is always the safe way.
class ScriptedInteraction : public Interaction {
public:
    struct Answer {
        QString match;
        QString answer;
        bool operator==(const Answer &) const = default;
    };

    ScriptedInteraction() = default;
    explicit ScriptedInteraction(QList<Answer> answers);

    // Reads a JSON array of {"match", "answer"} objects. Returns an error text, empty on success.
    static std::optional<QList<Answer>> parseAnswers(const QByteArray &json, QString *error);

    void addAnswer(const QString &match, const QString &answer);
    // Answers every folder panel that no entry answers.
    void setDestination(const QString &folder) { destination = folder; }
    // Gives every unanswered alert its first button, unless that button can't be taken back.
    void setAssumeYes(bool yes) { assumeYes = yes; }
    // Plans only: every alert is cancelled, whatever the script says, so nothing is changed.
    void setDryRun(bool dryRun) { planOnly = dryRun; }
    // The value of an alert accessory's checkbox ("true" or "false") or field, by its name.
    void setValue(const QString &name, const QString &value) { values.insert(name, value); }

    int alert(const AlertRequest &request) override;
    AlertAnswer alertWithValues(const AlertRequest &request) override;
    QStringList panel(const PanelRequest &request) override;

    const QList<AlertRequest> &askedAlerts() const { return alerts; }
    const QList<PanelRequest> &askedPanels() const { return panels; }
    // Each alert and panel in the order asked, with its texts, its buttons and the answer used.
    const QJsonArray &asked() const { return log; }

private:
    std::optional<QString> take(const QString &text);
    int answerButtons(const AlertRequest &request);

    QList<Answer> answers;
    QList<bool> used;
    QString destination;
    bool assumeYes = false;
    bool planOnly = false;
    QHash<QString, QString> values;
    QJsonArray log;
    QList<AlertRequest> alerts;
    QList<PanelRequest> panels;
};
