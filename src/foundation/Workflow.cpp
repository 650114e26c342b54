#include "foundation/Workflow.h"

#include "foundation/EnumNames.h"

namespace {

using K = Workflow::Kind;
constexpr EnumNameTable<K, 9> kindNames{{
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
constexpr EnumNameTable<S, 5> statusNames{{
    {S::installed, "installed"},
    {S::available, "available"},
    {S::missing, "missing"},
    {S::needsSetup, "needsSetup"},
    {S::planned, "planned"},
}};

using I = Workflow::InputKind;
constexpr EnumNameTable<I, 3> inputKindNames{{
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
    return enumName(kindNames, kind);
}
std::optional<Workflow::Kind> Workflow::kindFromString(const QString &raw)
{
    return enumFromName(kindNames, raw);
}
QString Workflow::toString(Status status)
{
    return enumName(statusNames, status);
}
std::optional<Workflow::Status> Workflow::statusFromString(const QString &raw)
{
    return enumFromName(statusNames, raw);
}
QString Workflow::toString(InputKind inputKind)
{
    return enumName(inputKindNames, inputKind);
}
std::optional<Workflow::InputKind> Workflow::inputKindFromString(const QString &raw)
{
    return enumFromName(inputKindNames, raw);
}
