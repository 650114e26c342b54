#pragma once

#include "foundation/Interaction.h"

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
    // Gives every unanswered alert its first button.
    void setAssumeYes(bool yes) { assumeYes = yes; }

    int alert(const AlertRequest &request) override;
    QStringList panel(const PanelRequest &request) override;

    const QList<AlertRequest> &askedAlerts() const { return alerts; }
    const QList<PanelRequest> &askedPanels() const { return panels; }

private:
    std::optional<QString> take(const QString &text);

    QList<Answer> answers;
    QList<bool> used;
    QString destination;
    bool assumeYes = false;
    QList<AlertRequest> alerts;
    QList<PanelRequest> panels;
};
