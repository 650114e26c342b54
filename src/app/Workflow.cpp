#include "app/Workflow.h"

#include <array>
#include <utility>

namespace {

template <typename E, std::size_t N>
std::optional<E> lookup(const std::array<std::pair<E, const char *>, N> &table, const QString &raw)
{
    for (const auto &[value, name] : table) {
        if (raw == QLatin1String(name))
            return value;
    }
    return std::nullopt;
}

template <typename E, std::size_t N> QString nameOf(const std::array<std::pair<E, const char *>, N> &table, E value)
{
    for (const auto &[candidate, name] : table) {
        if (candidate == value)
            return QString::fromLatin1(name);
    }
    return {};
}

using K = Workflow::Kind;
constexpr std::array<std::pair<K, const char *>, 9> kindNames{{
    {K::tagging, "Tagging"},
    {K::duplicates, "Duplicates"},
    {K::text, "Text & Comments"},
    {K::spotlight, "Spotlight"},
    {K::hygiene, "File Hygiene"},
    {K::metadata, "Metadata"},
    {K::transfer, "File Transfer"},
    {K::steward, "Project Steward"},
    {K::stitch, "Image Tools"},
}};

using S = Workflow::Status;
constexpr std::array<std::pair<S, const char *>, 5> statusNames{{
    {S::installed, "installed"},
    {S::available, "available"},
    {S::missing, "missing"},
    {S::needsSetup, "needsSetup"},
    {S::planned, "planned"},
}};

using I = Workflow::InputKind;
constexpr std::array<std::pair<I, const char *>, 3> inputKindNames{{
    {I::folder, "folder"},
    {I::folderOrFiles, "folderOrFiles"},
    {I::files, "files"},
}};

} // namespace

QString Workflow::bundleBaseName() const
{
    QString base = bundleName;
    base.remove(QStringLiteral(".workflow"));
    return base;
}

QList<Workflow::Kind> Workflow::allKinds()
{
    QList<Kind> kinds;
    for (const auto &entry : kindNames)
        kinds.append(entry.first);
    return kinds;
}

QString Workflow::toString(Kind kind)
{
    return nameOf(kindNames, kind);
}
std::optional<Workflow::Kind> Workflow::kindFromString(const QString &raw)
{
    return lookup(kindNames, raw);
}
QString Workflow::toString(Status status)
{
    return nameOf(statusNames, status);
}
std::optional<Workflow::Status> Workflow::statusFromString(const QString &raw)
{
    return lookup(statusNames, raw);
}
QString Workflow::toString(InputKind inputKind)
{
    return nameOf(inputKindNames, inputKind);
}
std::optional<Workflow::InputKind> Workflow::inputKindFromString(const QString &raw)
{
    return lookup(inputKindNames, raw);
}
