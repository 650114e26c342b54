#include "transfer/mover/SourceAnnotator.h"

#include "metadata/FinderMetadata.h"
#include "platform/Descriptor.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "platform/Trash.h"
#include "transfer/rules/RuleEditing.h"

#include <QJsonArray>
#include <QLocale>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

QString nameOf(const QString &path)
{
    return NativeNames::display(path.mid(path.lastIndexOf(QLatin1Char('/')) + 1));
}

// The copies have to be on the disk before any original leaves: a crash in between must not lose both.
std::optional<QString> syncDestination(const QString &root)
{
    const Descriptor folder(::open(NativeNames::encode(root).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen() || ::syncfs(folder.get()) != 0)
        return QString::fromLocal8Bit(std::strerror(errno));
    return std::nullopt;
}

} // namespace

QJsonObject SourceAnnotator::toJson(const Summary &summary)
{
    return {{QStringLiteral("annotated"), summary.annotated},
            {QStringLiteral("deleted"), summary.deleted},
            {QStringLiteral("evicted"), summary.evicted},
            {QStringLiteral("errors"), QJsonArray::fromStringList(summary.errors)},
            {QStringLiteral("permissionDenied"), summary.permissionDenied}};
}

QString SourceAnnotator::withHomeAsTilde(const QString &path)
{
    return RuleEditing::folderAsTyped(path, Paths::home());
}

QString SourceAnnotator::defaultFormat()
{
    return QStringLiteral("[Copied to {dest} on {date}]");
}

QString SourceAnnotator::render(const QString &format, const QString &destinationRoot, const QDate &day)
{
    QString text = format.isEmpty() ? defaultFormat() : format;
    text.replace(QStringLiteral("{dest}"), withHomeAsTilde(destinationRoot));
    text.replace(QStringLiteral("{date}"), QLocale::c().toString(day, QStringLiteral("yyyy-MM-dd")));
    return text;
}

QString SourceAnnotator::merged(const QString &current, const QString &text)
{
    if (current.isEmpty())
        return text;
    if (current.contains(text))
        return current;
    return current + QLatin1Char('\n') + text;
}

bool SourceAnnotator::isPermissionDenied(const QString &error)
{
    static const QStringList signs{QStringLiteral("-1743"),
                                   QStringLiteral("not authorised"),
                                   QStringLiteral("not authorized"),
                                   QStringLiteral("not allowed to send Apple events"),
                                   QStringLiteral("is not allowed to send"),
                                   QStringLiteral("errAEEventNotPermitted")};
    const QString folded = QLocale().toLower(error);
    for (const QString &sign : signs) {
        if (folded.contains(QLocale().toLower(sign)))
            return true;
    }
    return false;
}

SourceAnnotator::Summary SourceAnnotator::apply(const Options &options, const TransferEngine::Result &result,
                                                const Progress &progress, std::stop_token stop)
{
    Summary summary;
    QList<TransferEngine::ResolvedItem> work;
    for (const auto &item : result.items) {
        if (item.writtenURL())
            work.append(item);
    }
    if (work.isEmpty())
        return summary;
    const QString text = render(options.annotationFormat, result.plan.destinationRoot, QDate::currentDate());
    bool synced = false;
    std::optional<QString> syncFailure;
    int done = 0;
    const int total = int(work.size());
    for (const auto &item : work) {
        if (stop.stop_requested())
            break;
        const QString name = nameOf(item.source);
        if (options.annotateSourceComments && !summary.permissionDenied) {
            const QString current = FinderMetadata::readComment(item.source).value_or(QString());
            const QString next = merged(current, text);
            if (next != current) {
                try {
                    FinderMetadata::writeComment(next, item.source);
                    ++summary.annotated;
                } catch (const std::exception &error) {
                    const QString why = FinderMetadata::reason(error);
                    if (isPermissionDenied(FinderMetadata::describe(error))) {
                        summary.permissionDenied = true;
                        summary.errors.append(QStringLiteral(
                            "Finder Comments couldn't be written: Vantrel doesn't have Automation permission. Open "
                            "System Settings → Privacy & Security → Automation → enable Vantrel, then re-run."));
                    } else {
                        summary.errors.append(QStringLiteral("%1: comment write failed (%2)").arg(name, why));
                    }
                }
            }
        }
        if (options.deleteOriginals) {
            if (!synced) {
                syncFailure = syncDestination(result.plan.destinationRoot);
                synced = true;
            }
            if (syncFailure) {
                summary.errors.append(
                    QStringLiteral("%1: move-to-Trash failed (the copies couldn’t be confirmed on disk: %2)")
                        .arg(name, *syncFailure));
            } else if (const auto refused = Trash::trashItem(item.source)) {
                summary.errors.append(QStringLiteral("%1: move-to-Trash failed (%2)").arg(name, *refused));
            } else {
                ++summary.deleted;
            }
        }
        ++done;
        if (progress)
            progress(done, total);
    }
    if (stop.stop_requested() && done > 0 && progress)
        progress(done, total);
    return summary;
}
