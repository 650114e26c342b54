#include "metadata/sheets/TextCommentToolsSheet.h"

#include "foundation/Plural.h"
#include "metadata/FinderMetadata.h"
#include "metadata/sheets/CommentWrites.h"

#include <QFileInfo>

#include <array>

namespace {

using Kind = TextCommentToolsSheet::ActionKind;

struct KindInfo {
    Kind kind;
    const char *caseName;
    const char *label;
    const char *symbol;
    const char *help;
};

const std::array<KindInfo, 6> kinds{{
    {Kind::prependFilename, "prependFilename", "Add text before filename", "text.insert",
     "Adds the text to the start of each selected file's name. Extensions stay put."},
    {Kind::appendFilename, "appendFilename", "Add text after filename", "text.append",
     "Adds the text to the end of each selected file's name, just before the extension."},
    {Kind::replaceInFilename, "replaceInFilename", "Find & replace in filename", "arrow.triangle.2.circlepath",
     "Replaces every occurrence of the Find text with the Replace text in each filename."},
    {Kind::addToComment, "addToComment", "Add to Finder comment", "text.badge.plus",
     "Appends the text to each file's Finder comment on a new line."},
    {Kind::removeFromComment, "removeFromComment", "Remove from Finder comment", "text.badge.minus",
     "Removes every occurrence of the text from each file's Finder comment."},
    {Kind::clearComment, "clearComment", "Clear Finder comment", "trash.fill",
     "Empties each selected file's Finder comment. Tags applied via Vantrel tools count as comment text."},
}};

const KindInfo &info(Kind kind)
{
    return kinds[std::size_t(kind)];
}

} // namespace

QList<Kind> TextCommentToolsSheet::allActionKinds()
{
    QList<Kind> list;
    for (const KindInfo &entry : kinds)
        list.append(entry.kind);
    return list;
}

QString TextCommentToolsSheet::toString(ActionKind kind)
{
    return QString::fromUtf8(info(kind).label);
}

std::optional<Kind> TextCommentToolsSheet::actionKindFromString(const QString &raw)
{
    for (const KindInfo &entry : kinds) {
        if (raw == QString::fromUtf8(entry.label))
            return entry.kind;
    }
    return std::nullopt;
}

QString TextCommentToolsSheet::caseName(ActionKind kind)
{
    return QString::fromLatin1(info(kind).caseName);
}

std::optional<Kind> TextCommentToolsSheet::actionKindFromCaseName(const QString &name)
{
    for (const KindInfo &entry : kinds) {
        if (name == QLatin1String(entry.caseName))
            return entry.kind;
    }
    return std::nullopt;
}

QString TextCommentToolsSheet::systemImage(ActionKind kind)
{
    return QString::fromLatin1(info(kind).symbol);
}

QString TextCommentToolsSheet::help(ActionKind kind)
{
    return QString::fromUtf8(info(kind).help);
}

bool TextCommentToolsSheet::isRename(ActionKind kind)
{
    return kind == Kind::prependFilename || kind == Kind::appendFilename || kind == Kind::replaceInFilename;
}

const QList<TextCommentToolsSheet::SeparatorChoice> &TextCommentToolsSheet::separators()
{
    // The second label is an em dash; what it puts in the name is a hyphen.
    static const QList<SeparatorChoice> choices{{QStringLiteral("None"), QString()},
                                                {QStringLiteral("—"), QStringLiteral("-")},
                                                {QStringLiteral("_"), QStringLiteral("_")},
                                                {QStringLiteral("space"), QStringLiteral(" ")},
                                                {QStringLiteral("."), QStringLiteral(".")}};
    return choices;
}

TextCommentToolsSheet::TextCommentToolsSheet(SessionHost &host, TextCommentToolsContext context, QObject *parent)
    : Session(host, context.targets, parent), sheetContext(std::move(context))
{
}

void TextCommentToolsSheet::setAction(ActionKind value)
{
    if (kind == value)
        return;
    kind = value;
    emit changed();
}

void TextCommentToolsSheet::setPrimary(const QString &value)
{
    if (primaryText == value)
        return;
    primaryText = value;
    emit changed();
}

void TextCommentToolsSheet::setReplacement(const QString &value)
{
    if (replacementText == value)
        return;
    replacementText = value;
    emit changed();
}

void TextCommentToolsSheet::setSeparator(const QString &value)
{
    if (separatorText == value)
        return;
    separatorText = value;
    emit changed();
}

QString TextCommentToolsSheet::subtitle() const
{
    return QStringLiteral("%1 selected").arg(counted(sheetContext.targets.size(), QStringLiteral("file")));
}

TextCommentToolsSheet::FormField TextCommentToolsSheet::primaryField() const
{
    switch (kind) {
    case Kind::prependFilename:
        return {QStringLiteral("Text"), QStringLiteral("e.g. 2026-06-")};
    case Kind::appendFilename:
        return {QStringLiteral("Text"), QStringLiteral("e.g. -draft")};
    case Kind::replaceInFilename:
        return {QStringLiteral("Find"), QStringLiteral("Text to find")};
    case Kind::addToComment:
        return {QStringLiteral("Text to add"), QStringLiteral("e.g. status: in review")};
    case Kind::removeFromComment:
        return {QStringLiteral("Text to remove"), QStringLiteral("Text to remove")};
    case Kind::clearComment:
        break;
    }
    return {};
}

std::optional<TextCommentToolsSheet::FormField> TextCommentToolsSheet::replacementField() const
{
    if (kind != Kind::replaceInFilename)
        return std::nullopt;
    return FormField{QStringLiteral("Replace with"), QStringLiteral("Replacement text")};
}

bool TextCommentToolsSheet::showsSeparators() const
{
    return kind == Kind::prependFilename || kind == Kind::appendFilename;
}

QString TextCommentToolsSheet::separatorNote() const
{
    if (kind == Kind::prependFilename)
        return separatorText.isEmpty()
                   ? QStringLiteral("Text will sit directly against the filename.")
                   : QStringLiteral("Text and filename will be separated by \"%1\".").arg(separatorText);
    if (kind == Kind::appendFilename)
        return separatorText.isEmpty()
                   ? QStringLiteral("Text will sit directly against the filename stem.")
                   : QStringLiteral("Filename stem and text will be separated by \"%1\".").arg(separatorText);
    return {};
}

QString TextCommentToolsSheet::warning() const
{
    if (kind != Kind::clearComment)
        return {};
    return QStringLiteral("This action can't be undone. Affected files: %1.").arg(sheetContext.targets.size());
}

std::optional<QString> TextCommentToolsSheet::previewBefore() const
{
    if (sheetContext.targets.isEmpty())
        return std::nullopt;
    const QString &first = sheetContext.targets.first();
    if (isRename(kind))
        return QFileInfo(first).fileName();
    const auto comment = FinderMetadata::readComment(first);
    return comment && !comment->isEmpty() ? *comment : QStringLiteral("(no comment)");
}

std::optional<QString> TextCommentToolsSheet::previewAfter() const
{
    if (sheetContext.targets.isEmpty())
        return std::nullopt;
    const QString &first = sheetContext.targets.first();
    const QString name = QFileInfo(first).fileName();
    switch (kind) {
    case Kind::prependFilename:
        return primaryText + separatorText + name;
    case Kind::appendFilename: {
        const auto parts = TextCommentActions::split(first);
        const QString extension = parts.extension.isEmpty() ? QString() : QLatin1Char('.') + parts.extension;
        return parts.stem + separatorText + primaryText + extension;
    }
    case Kind::replaceInFilename:
        // The whole name, extension included: the rename itself leaves the extension alone.
        return primaryText.isEmpty() ? name : QString(name).replace(primaryText, replacementText, Qt::CaseSensitive);
    case Kind::addToComment:
        return TextCommentActions::addedComment(FinderMetadata::readComment(first), primaryText);
    case Kind::removeFromComment:
        return TextCommentActions::removedComment(FinderMetadata::readComment(first), primaryText);
    case Kind::clearComment:
        break;
    }
    return QString();
}

std::optional<QString> TextCommentToolsSheet::problem() const
{
    if (!isRename(kind))
        return std::nullopt;
    const TextCommentActions::TextCommentAction action = makeAction();
    if (auto problem = TextCommentActions::textProblem(action))
        return problem;
    // Every file, before any is renamed: a run never stops half-way on a name it could have foreseen.
    for (const QString &target : sheetContext.targets) {
        if (auto problem = TextCommentActions::nameProblem(action, target))
            return problem;
    }
    return std::nullopt;
}

bool TextCommentToolsSheet::canApply() const
{
    return (kind == Kind::clearComment || !primaryText.isEmpty()) && !problem();
}

QString TextCommentToolsSheet::applyLabel() const
{
    return QStringLiteral("Apply to %1").arg(counted(sheetContext.targets.size(), QStringLiteral("file")));
}

TextCommentActions::TextCommentAction TextCommentToolsSheet::makeAction() const
{
    switch (kind) {
    case Kind::prependFilename:
        return TextCommentActions::prependFilename{primaryText + separatorText};
    case Kind::appendFilename:
        return TextCommentActions::appendFilename{separatorText + primaryText};
    case Kind::replaceInFilename:
        return TextCommentActions::replaceInFilename{primaryText, replacementText};
    case Kind::addToComment:
        return TextCommentActions::addToComment{primaryText};
    case Kind::removeFromComment:
        return TextCommentActions::removeFromComment{primaryText};
    case Kind::clearComment:
        break;
    }
    return TextCommentActions::clearComment{};
}

void TextCommentToolsSheet::apply()
{
    if (!canApply())
        return;
    CommentWrites::applyTextCommentAction(*host(), makeAction(), sheetContext.targets);
    close();
}

QString TextCommentToolsSheet::title() const
{
    return QStringLiteral("Text & Comment Tools");
}

QList<Session::Field> TextCommentToolsSheet::fields()
{
    const auto choose = [this](const QString &value) -> std::optional<QString> {
        auto parsed = actionKindFromCaseName(value);
        if (!parsed)
            parsed = actionKindFromString(value);
        if (!parsed)
            return QStringLiteral("No action “%1”; choose prependFilename, appendFilename, replaceInFilename, "
                                  "addToComment, removeFromComment or clearComment.")
                .arg(value);
        setAction(*parsed);
        return std::nullopt;
    };
    const auto text = [this](void (TextCommentToolsSheet::*set)(const QString &)) {
        return [this, set](const QString &value) -> std::optional<QString> {
            (this->*set)(value);
            return std::nullopt;
        };
    };
    // The value itself, or the label the sheet shows for it ("space", "None").
    const auto separate = [this](const QString &value) -> std::optional<QString> {
        QString chosen = value;
        for (const auto &choice : separators()) {
            if (value == choice.label)
                chosen = choice.value;
        }
        setSeparator(chosen);
        return std::nullopt;
    };
    return {{QStringLiteral("action"), QStringLiteral("ACTION"), choose},
            {QStringLiteral("primary"), QStringLiteral("TEXT"), text(&TextCommentToolsSheet::setPrimary)},
            {QStringLiteral("replacement"), QStringLiteral("TEXT"), text(&TextCommentToolsSheet::setReplacement)},
            {QStringLiteral("separator"), QStringLiteral("TEXT"), separate}};
}

std::optional<QString> TextCommentToolsSheet::missingFields(const QStringList &)
{
    if (kind != Kind::clearComment && primaryText.isEmpty())
        return QStringLiteral("%1 needs --set primary=TEXT.").arg(toString(kind));
    return problem();
}

std::optional<QString> TextCommentToolsSheet::perform()
{
    if (!canApply())
        return problem();
    apply();
    return std::nullopt;
}

QJsonObject TextCommentToolsSheet::toJson() const
{
    QJsonObject object = Session::toJson();
    object.insert(QStringLiteral("action"), caseName(kind));
    object.insert(QStringLiteral("primary"), primaryText);
    return object;
}
