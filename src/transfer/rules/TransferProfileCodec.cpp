#include "transfer/rules/TransferProfileCodec.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <stdexcept>

namespace {

// A decoding failure, with the words the user reads.
struct Malformed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] void fail(const QString &why)
{
    throw Malformed(why.toStdString());
}

QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QString dateText(const QDateTime &date)
{
    return date.toUTC().toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss'Z'"));
}

QJsonObject single(const QString &key, const QJsonObject &payload)
{
    return {{key, payload}};
}

QJsonValue required(const QJsonObject &object, const QString &key)
{
    QJsonValue value = object.value(key);
    if (value.isUndefined())
        fail(QStringLiteral("No value associated with key “%1”.").arg(key));
    return value;
}

QString text(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = required(object, key);
    if (!value.isString())
        fail(QStringLiteral("Expected to decode a string for “%1”.").arg(key));
    return value.toString();
}

bool boolean(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = required(object, key);
    if (!value.isBool())
        fail(QStringLiteral("Expected to decode a Boolean for “%1”.").arg(key));
    return value.toBool();
}

qint64 integer(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = required(object, key);
    const double number = value.toDouble();
    if (!value.isDouble() || number != double(qint64(number)))
        fail(QStringLiteral("Expected to decode a whole number for “%1”.").arg(key));
    return qint64(number);
}

QJsonObject object(const QJsonObject &parent, const QString &key)
{
    const QJsonValue value = required(parent, key);
    if (!value.isObject())
        fail(QStringLiteral("Expected to decode an object for “%1”.").arg(key));
    return value.toObject();
}

QJsonArray array(const QJsonObject &parent, const QString &key)
{
    const QJsonValue value = required(parent, key);
    if (!value.isArray())
        fail(QStringLiteral("Expected to decode an array for “%1”.").arg(key));
    return value.toArray();
}

QUuid uuid(const QJsonObject &parent, const QString &key)
{
    const QUuid id = QUuid::fromString(text(parent, key));
    if (id.isNull())
        fail(QStringLiteral("Attempted to decode UUID from invalid UUID string."));
    return id;
}

QDateTime date(const QJsonObject &parent, const QString &key)
{
    const QDateTime value = QDateTime::fromString(text(parent, key), Qt::ISODate);
    if (!value.isValid())
        fail(QStringLiteral("Expected date string to be ISO8601-formatted."));
    return value.toUTC();
}

// The one case key an object carries, out of `cases`.
QString caseOf(const QJsonObject &object, const QStringList &cases)
{
    QString found;
    int count = 0;
    for (const QString &name : cases) {
        if (object.contains(name)) {
            found = name;
            ++count;
        }
    }
    if (count != 1)
        fail(QStringLiteral("Invalid number of keys found, expected one."));
    return found;
}

const QStringList matchCases{"extensionEquals",
                             "nameContains",
                             "nameMatchesRegex",
                             "sizeGreaterThan",
                             "modifiedOlderThanDays",
                             "hasFinderTag",
                             "commentContains",
                             "any",
                             "all"};
const QStringList actionCases{"moveTo", "copyTo", "skip"};

QJsonObject encodeMatch(const RuleMatch &match);

QJsonArray encodeMatches(const std::vector<RuleMatch> &matches)
{
    QJsonArray children;
    for (const RuleMatch &child : matches)
        children.append(encodeMatch(child));
    return children;
}

QJsonObject encodeMatch(const RuleMatch &match)
{
    using M = RuleMatch;
    if (const auto *m = std::get_if<M::extensionEquals>(&match.value))
        return single(QStringLiteral("extensionEquals"), {{"_0", QJsonArray::fromStringList(m->extensions)}});
    if (const auto *m = std::get_if<M::nameContains>(&match.value))
        return single(QStringLiteral("nameContains"), {{"value", m->value}, {"caseInsensitive", m->caseInsensitive}});
    if (const auto *m = std::get_if<M::nameMatchesRegex>(&match.value))
        return single(QStringLiteral("nameMatchesRegex"), {{"pattern", m->pattern}});
    if (const auto *m = std::get_if<M::sizeGreaterThan>(&match.value))
        return single(QStringLiteral("sizeGreaterThan"), {{"bytes", m->bytes}});
    if (const auto *m = std::get_if<M::modifiedOlderThanDays>(&match.value))
        return single(QStringLiteral("modifiedOlderThanDays"), {{"days", m->days}});
    if (const auto *m = std::get_if<M::hasFinderTag>(&match.value))
        return single(QStringLiteral("hasFinderTag"), {{"tag", m->tag}});
    if (const auto *m = std::get_if<M::commentContains>(&match.value))
        return single(QStringLiteral("commentContains"), {{"value", m->value}});
    if (const auto *m = std::get_if<M::any>(&match.value))
        return single(QStringLiteral("any"), {{"_0", encodeMatches(m->children)}});
    return single(QStringLiteral("all"), {{"_0", encodeMatches(std::get<M::all>(match.value).children)}});
}

RuleMatch decodeMatch(const QJsonObject &json);

std::vector<RuleMatch> decodeMatches(const QJsonObject &payload)
{
    std::vector<RuleMatch> children;
    for (const QJsonValue child : array(payload, QStringLiteral("_0"))) {
        if (!child.isObject())
            fail(QStringLiteral("Expected to decode an object for a condition."));
        children.push_back(decodeMatch(child.toObject()));
    }
    return children;
}

RuleMatch decodeMatch(const QJsonObject &json)
{
    using M = RuleMatch;
    const QString name = caseOf(json, matchCases);
    const QJsonObject payload = object(json, name);
    if (name == QLatin1String("extensionEquals")) {
        QStringList extensions;
        for (const QJsonValue value : array(payload, QStringLiteral("_0"))) {
            if (!value.isString())
                fail(QStringLiteral("Expected to decode a string for an extension."));
            extensions.append(value.toString());
        }
        return {M::extensionEquals{extensions}};
    }
    if (name == QLatin1String("nameContains"))
        return {M::nameContains{text(payload, QStringLiteral("value")),
                                boolean(payload, QStringLiteral("caseInsensitive"))}};
    if (name == QLatin1String("nameMatchesRegex"))
        return {M::nameMatchesRegex{text(payload, QStringLiteral("pattern"))}};
    if (name == QLatin1String("sizeGreaterThan"))
        return {M::sizeGreaterThan{integer(payload, QStringLiteral("bytes"))}};
    if (name == QLatin1String("modifiedOlderThanDays"))
        return {M::modifiedOlderThanDays{int(integer(payload, QStringLiteral("days")))}};
    if (name == QLatin1String("hasFinderTag"))
        return {M::hasFinderTag{text(payload, QStringLiteral("tag"))}};
    if (name == QLatin1String("commentContains"))
        return {M::commentContains{text(payload, QStringLiteral("value"))}};
    if (name == QLatin1String("any"))
        return {M::any{decodeMatches(payload)}};
    return {M::all{decodeMatches(payload)}};
}

QJsonObject encodeAction(const RuleAction &action)
{
    if (const auto *move = std::get_if<RuleAction::moveTo>(&action.value))
        return single(QStringLiteral("moveTo"), {{"path", move->path}});
    if (const auto *copy = std::get_if<RuleAction::copyTo>(&action.value))
        return single(QStringLiteral("copyTo"), {{"path", copy->path}});
    return single(QStringLiteral("skip"), {});
}

RuleAction decodeAction(const QJsonObject &json)
{
    const QString name = caseOf(json, actionCases);
    const QJsonObject payload = object(json, name);
    if (name == QLatin1String("moveTo"))
        return {RuleAction::moveTo{text(payload, QStringLiteral("path"))}};
    if (name == QLatin1String("copyTo"))
        return {RuleAction::copyTo{text(payload, QStringLiteral("path"))}};
    return {RuleAction::skip{}};
}

} // namespace

QByteArray TransferProfileCodec::encode(const TransferProfile &profile)
{
    QJsonArray rules;
    for (const TransferRule &rule : profile.rules)
        rules.append(QJsonObject{
            {"id", uuidText(rule.id)}, {"match", encodeMatch(rule.match)}, {"action", encodeAction(rule.action)}});
    const QJsonObject defaults{{"conflictPolicy", ProfileDefaults::toString(profile.defaults.conflictPolicy)},
                               {"renameSuffix", profile.defaults.renameSuffix},
                               {"annotateSourceComments", profile.defaults.annotateSourceComments}};
    // QJsonObject keeps its keys sorted, so the text is the same for the same profile.
    return QJsonDocument(QJsonObject{{"id", uuidText(profile.id)},
                                     {"name", profile.name},
                                     {"summary", profile.summary},
                                     {"createdAt", dateText(profile.createdAt)},
                                     {"updatedAt", dateText(profile.updatedAt)},
                                     {"rules", rules},
                                     {"defaults", defaults}})
        .toJson(QJsonDocument::Indented);
}

std::optional<TransferProfile> TransferProfileCodec::decode(const QByteArray &bytes, QString *error)
{
    QJsonParseError parsed{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parsed);
    try {
        if (parsed.error != QJsonParseError::NoError)
            fail(QStringLiteral("The data isn't valid JSON: %1.").arg(parsed.errorString()));
        if (!document.isObject())
            fail(QStringLiteral("Expected to decode an object for the profile."));
        const QJsonObject json = document.object();
        TransferProfile profile;
        profile.id = uuid(json, QStringLiteral("id"));
        profile.name = text(json, QStringLiteral("name"));
        profile.summary = text(json, QStringLiteral("summary"));
        profile.createdAt = date(json, QStringLiteral("createdAt"));
        profile.updatedAt = date(json, QStringLiteral("updatedAt"));
        for (const QJsonValue value : array(json, QStringLiteral("rules"))) {
            if (!value.isObject())
                fail(QStringLiteral("Expected to decode an object for a rule."));
            const QJsonObject rule = value.toObject();
            profile.rules.append({uuid(rule, QStringLiteral("id")), decodeMatch(object(rule, QStringLiteral("match"))),
                                  decodeAction(object(rule, QStringLiteral("action")))});
        }
        const QJsonObject defaults = object(json, QStringLiteral("defaults"));
        const QString policy = text(defaults, QStringLiteral("conflictPolicy"));
        const auto name = ProfileDefaults::conflictPolicyFromString(policy);
        if (!name)
            fail(QStringLiteral("Cannot initialize ConflictPolicyName from invalid String value %1.").arg(policy));
        profile.defaults = {*name, text(defaults, QStringLiteral("renameSuffix")),
                            boolean(defaults, QStringLiteral("annotateSourceComments"))};
        return profile;
    } catch (const Malformed &malformed) {
        if (error)
            *error = QString::fromStdString(malformed.what());
        return std::nullopt;
    }
}
