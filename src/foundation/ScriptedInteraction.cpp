#include "foundation/ScriptedInteraction.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

ScriptedInteraction::ScriptedInteraction(QList<Answer> answers)
    : answers(std::move(answers)), used(this->answers.size(), false)
{
}

std::optional<QList<ScriptedInteraction::Answer>> ScriptedInteraction::parseAnswers(const QByteArray &json,
                                                                                    QString *error)
{
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isArray()) {
        if (error)
            *error = QStringLiteral("The answers file isn't a JSON array of {\"match\", \"answer\"} objects.");
        return std::nullopt;
    }
    QList<Answer> list;
    for (const auto &value : document.array()) {
        const QJsonObject object = value.toObject();
        if (!value.isObject() || !object.value(QStringLiteral("match")).isString() ||
            !object.value(QStringLiteral("answer")).isString()) {
            if (error)
                *error = QStringLiteral("Each entry of the answers file needs a text \"match\" and a text \"answer\".");
            return std::nullopt;
        }
        list.append(
            {object.value(QStringLiteral("match")).toString(), object.value(QStringLiteral("answer")).toString()});
    }
    return list;
}

void ScriptedInteraction::addAnswer(const QString &match, const QString &answer)
{
    answers.append({match, answer});
    used.append(false);
}

std::optional<QString> ScriptedInteraction::take(const QString &text)
{
    for (qsizetype i = 0; i < answers.size(); ++i) {
        if (!used[i] && text.startsWith(answers[i].match)) {
            used[i] = true;
            return answers[i].answer;
        }
    }
    return std::nullopt;
}

int ScriptedInteraction::alert(const AlertRequest &request)
{
    alerts.append(request);
    const int cancel = request.buttons.isEmpty() ? 0 : int(request.buttons.size()) - 1;
    if (const auto answer = take(request.message)) {
        const int index = int(request.buttons.indexOf(*answer));
        return index >= 0 ? index : cancel;
    }
    return assumeYes ? 0 : cancel;
}

QStringList ScriptedInteraction::panel(const PanelRequest &request)
{
    panels.append(request);
    if (const auto answer = take(request.title))
        return answer->isEmpty() ? QStringList{} : QStringList{*answer};
    if (!destination.isEmpty() && request.choosesFoldersOnly())
        return {destination};
    return {};
}
