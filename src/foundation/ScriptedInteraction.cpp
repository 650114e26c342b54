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

int ScriptedInteraction::answerButtons(const AlertRequest &request)
{
    alerts.append(request);
    const int cancel = request.buttons.isEmpty() ? 0 : int(request.buttons.size()) - 1;
    if (planOnly)
        return cancel;
    if (const auto answer = take(request.message)) {
        const int index = int(request.buttons.indexOf(*answer));
        return index >= 0 ? index : cancel;
    }
    return assumeYes && !request.needsExplicitAnswer ? 0 : cancel;
}

namespace {

QJsonObject alertEntry(const AlertRequest &request, int button)
{
    return {{QStringLiteral("kind"), QStringLiteral("alert")},
            {QStringLiteral("style"), AlertRequest::toString(request.style)},
            {QStringLiteral("message"), request.message},
            {QStringLiteral("informativeText"), request.informativeText},
            {QStringLiteral("buttons"), QJsonArray::fromStringList(request.buttons)},
            {QStringLiteral("answer"), request.buttons.value(button)}};
}

} // namespace

int ScriptedInteraction::alert(const AlertRequest &request)
{
    const int button = answerButtons(request);
    log.append(alertEntry(request, button));
    return button;
}

AlertAnswer ScriptedInteraction::alertWithValues(const AlertRequest &request)
{
    AlertAnswer answer{answerButtons(request), false, QString()};
    QJsonObject entry = alertEntry(request, answer.button);
    if (const auto &accessory = request.accessory) {
        answer.checked = values.contains(accessory->checkboxName)
                             ? values.value(accessory->checkboxName) == QLatin1String("true")
                             : accessory->checked;
        answer.fieldText = values.value(accessory->fieldName, accessory->fieldText);
        entry.insert(QStringLiteral("values"),
                     QJsonObject{{accessory->checkboxName, answer.checked}, {accessory->fieldName, answer.fieldText}});
    }
    log.append(entry);
    return answer;
}

QStringList ScriptedInteraction::panel(const PanelRequest &request)
{
    panels.append(request);
    QStringList chosen;
    if (const auto answer = take(request.title))
        chosen = answer->isEmpty() ? QStringList{} : QStringList{*answer};
    else if (!destination.isEmpty() && request.choosesFoldersOnly())
        chosen = {destination};
    log.append(QJsonObject{{QStringLiteral("kind"), QStringLiteral("panel")},
                           {QStringLiteral("title"), request.title},
                           {QStringLiteral("message"), request.message},
                           {QStringLiteral("prompt"), request.prompt},
                           {QStringLiteral("answer"), QJsonArray::fromStringList(chosen)}});
    return chosen;
}
