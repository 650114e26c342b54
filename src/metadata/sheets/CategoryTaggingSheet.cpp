#include "metadata/sheets/CategoryTaggingSheet.h"

#include "foundation/Plural.h"
#include "foundation/SessionHost.h"
#include "metadata/CategoryStore.h"
#include "metadata/CategoryValidation.h"
#include "metadata/sheets/CommentWrites.h"
#include "metadata/sheets/FindByIDOrName.h"

#include <QJsonValue>
#include <QRegularExpression>

#include <algorithm>
#include <array>

namespace {

constexpr std::array<const char *, 6> draftColors{"#8B5CF6", "#38BDF8", "#A78BFA", "#34D399", "#F59E0B", "#60A5FA"};
constexpr std::array<const char *, 6> draftSymbols{"folder.fill",           "tag.fill",   "person.2.fill",
                                                   "checkmark.circle.fill", "photo.fill", "tray.full.fill"};
constexpr qsizetype previewLength = 5;

QStringList splitDraftTags(const QString &text)
{
    static const QRegularExpression separators(QStringLiteral("[,\\n]"));
    QStringList result;
    for (const QString &piece : text.split(separators, Qt::SkipEmptyParts)) {
        const QString trimmed = piece.trimmed();
        if (!trimmed.isEmpty())
            result.append(trimmed);
    }
    return result;
}

} // namespace

CategoryTaggingSheet::CategoryTaggingSheet(SessionHost &host, CategoryStore &categoryStore,
                                           CategoryTaggingContext context, QObject *parent)
    : Session(host, context.targets, parent), store(&categoryStore), sheetContext(std::move(context))
{
    connect(store, &CategoryStore::categoriesChanged, this, &CategoryTaggingSheet::changed);
}

const QList<Category> &CategoryTaggingSheet::categories() const
{
    return store->categories();
}

void CategoryTaggingSheet::setSelectedCategoryID(std::optional<QUuid> id)
{
    if (selectedID == id)
        return;
    selectedID = id;
    emit changed();
}

void CategoryTaggingSheet::setAddingCategory(bool value)
{
    if (adding == value)
        return;
    adding = value;
    emit changed();
}

void CategoryTaggingSheet::setDraftName(const QString &value)
{
    name = value;
}

void CategoryTaggingSheet::setDraftTags(const QString &value)
{
    tags = value;
}

std::optional<Category> CategoryTaggingSheet::selectedCategory() const
{
    if (!selectedID)
        return std::nullopt;
    const QList<Category> &list = categories();
    const auto found =
        std::find_if(list.cbegin(), list.cend(), [this](const Category &c) { return c.id == *selectedID; });
    if (found == list.cend())
        return std::nullopt;
    return *found;
}

QString CategoryTaggingSheet::subtitle() const
{
    return QStringLiteral("%1 selected · %2")
        .arg(counted(sheetContext.targets.size(), QStringLiteral("file")),
             counted(categories().size(), QStringLiteral("category"), QStringLiteral("categories")));
}

QString CategoryTaggingSheet::preview(const Category &category)
{
    if (category.tags.isEmpty())
        return QStringLiteral("No tags yet");
    QString text = category.tags.first(std::min(previewLength, category.tags.size())).join(QStringLiteral(", "));
    if (category.tags.size() > previewLength)
        text += QStringLiteral(", +%1 more").arg(category.tags.size() - previewLength);
    return text;
}

QString CategoryTaggingSheet::summary() const
{
    const auto category = selectedCategory();
    if (!category)
        return {};
    return QStringLiteral("Will apply %1 from %2 to %3.")
        .arg(counted(category->tags.size(), QStringLiteral("tag")), category->name,
             counted(sheetContext.targets.size(), QStringLiteral("file")));
}

QString CategoryTaggingSheet::applyLabel() const
{
    const auto category = selectedCategory();
    if (!category || category->tags.isEmpty())
        return QStringLiteral("Apply");
    return QStringLiteral("Apply %1 to %2")
        .arg(counted(category->tags.size(), QStringLiteral("tag")),
             counted(sheetContext.targets.size(), QStringLiteral("file")));
}

QString CategoryTaggingSheet::draftColor(qsizetype position)
{
    return QString::fromLatin1(draftColors[std::size_t(position % qsizetype(draftColors.size()))]);
}

QString CategoryTaggingSheet::draftSymbol(qsizetype position)
{
    return QString::fromLatin1(draftSymbols[std::size_t(position % qsizetype(draftSymbols.size()))]);
}

bool CategoryTaggingSheet::saveDraft()
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty())
        return false;
    const qsizetype position = categories().size();
    const Category category{QUuid::createUuid(), trimmed, draftColor(position), splitDraftTags(tags),
                            draftSymbol(position)};
    // The untrimmed name too: a control character at either end is refused, as on import.
    QString problem = CategoryValidation::checkName(name);
    if (problem.isEmpty())
        problem = CategoryValidation::check(category);
    refusal = problem;
    if (!problem.isEmpty()) {
        emit changed();
        return false;
    }
    if (const auto error = store->add(category)) {
        // The draft stays in the form, so nothing typed is lost; the banner says why it wasn't saved.
        host()->showFailure(*error, {});
        return false;
    }
    selectedID = category.id;
    adding = false;
    name.clear();
    tags.clear();
    emit changed();
    return true;
}

void CategoryTaggingSheet::cancelDraft()
{
    adding = false;
    refusal.clear();
    name.clear();
    tags.clear();
    emit changed();
}

void CategoryTaggingSheet::apply()
{
    const auto category = selectedCategory();
    if (!category)
        return;
    CommentWrites::applyTags(*host(), category->tags, sheetContext.targets);
    emit applied();
    close();
}

QString CategoryTaggingSheet::title() const
{
    return QStringLiteral("Tag Category Selector");
}

QList<Session::Field> CategoryTaggingSheet::fields()
{
    const auto choose = [this](const QString &value) -> std::optional<QString> {
        const auto id = findByIDOrName(categories(), value.trimmed());
        if (!id)
            return QStringLiteral("No category “%1” in the library.").arg(value);
        setSelectedCategoryID(id);
        return std::nullopt;
    };
    return {
        {QStringLiteral("selectedCategoryID"), QStringLiteral("ID-or-name"), choose, true},
        {QStringLiteral("draftName"), QStringLiteral("NAME"),
         [this](const QString &value) -> std::optional<QString> {
             setDraftName(value);
             return std::nullopt;
         },
         true},
        {QStringLiteral("draftTags"), QStringLiteral("TAG,…"), [this](const QString &value) -> std::optional<QString> {
             setDraftTags(value);
             return std::nullopt;
         }}};
}

std::optional<QString> CategoryTaggingSheet::perform()
{
    // A draft the library's rules refuse can't be performed. One the disk refused ends the sheet on its
    // banner. Either way no file is tagged.
    if (!name.trimmed().isEmpty() && !saveDraft()) {
        if (!refusal.isEmpty())
            return refusal;
        close();
        return std::nullopt;
    }
    if (!selectedCategory())
        return QStringLiteral("Choose a category with --set selectedCategoryID=ID-or-name.");
    apply();
    return std::nullopt;
}

QJsonObject CategoryTaggingSheet::toJson() const
{
    QJsonObject object = Session::toJson();
    object.insert(QStringLiteral("selectedCategoryID"),
                  selectedID ? QJsonValue(selectedID->toString(QUuid::WithoutBraces)) : QJsonValue::Null);
    return object;
}
