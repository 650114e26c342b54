#include "cli/HeadlessRun.h"
#include "cli/OpenCommand.h"
#include "cli/QuickActionsCommand.h"
#include "cli/ServiceCommand.h"
#include "cli/TransferProfilesCommand.h"
#include "platform/DesktopRegistration.h"
#include "platform/InstanceChannel.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#if VANTREL_HAS_UI
#include "ui/shell/AppController.h"

#include <QApplication>
#endif
#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

namespace {

const char *const usage = R"(Usage:
  vantrel                                   open the main window
  vantrel open URL|FILE…                    hand vantrel:// URLs or .vantrelpack files to Vantrel
  vantrel open --workflow ID -- PATH…       run a Quick Action on the given files
  vantrel run (WORKFLOW-ID [PATH…] | URL) [--answers FILE] [--set NAME=VALUE]… [--yes] [--dest DIR] [--json]
                                            run a workflow without a window and print the result
  vantrel categories export FILE [--yes]    save the category library to FILE (--yes: replace FILE)
  vantrel categories import FILE [--answers FILE] [--yes]
                                            merge or replace the library from FILE
  vantrel quick-actions (status|first-launch|install|repair|remove-all|remove ID|reinstall ID|health|refresh)
          [--yes|--answers FILE] [--json]   install, check, repair or remove Vantrel's Quick Actions
  vantrel quick-actions backups (list|save BUNDLE|restore NAME|delete NAME) [--json]
                                            list, take, restore or trash copies of Quick Actions
  vantrel transfer-profiles (list | import FILE | export ID FILE | delete ID) [--json]
                                            list, import, export or delete transfer profiles
  vantrel service NAME -- FILE…             perform the installed Quick Action of that menu name on the files
  vantrel register-desktop                  register the vantrel:// handler and the pack file type
)";

// A socket that isn't ours, or an instance that didn't take the URLs, is said so, never taken for success.
bool refused(const InstanceClient::Result &result)
{
    if (result.outcome != InstanceClient::Outcome::refused)
        return false;
    std::fprintf(stderr, "%s\n", qPrintable(result.problem));
    return true;
}

#if VANTREL_HAS_UI
int runWindow(int argc, char **argv, const QStringList &pendingURLs)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Vantrel"));
    QApplication::setApplicationVersion(QStringLiteral(VANTREL_VERSION));
    // Closing the window leaves Vantrel running behind its tray icon.
    QApplication::setQuitOnLastWindowClosed(false);
    AppController controller(pendingURLs);
    if (!controller.start(QCoreApplication::applicationFilePath())) {
        // Another instance answered in the meantime: hand it the URLs instead.
        const auto result = InstanceClient::deliver(Paths::instanceSocket(), pendingURLs);
        if (result.outcome == InstanceClient::Outcome::delivered)
            return 0;
        if (!refused(result))
            std::fprintf(stderr, "Couldn't listen on %s: %s\n", qPrintable(Paths::instanceSocket()),
                         qPrintable(controller.listenError()));
        return 1;
    }
    return QApplication::exec();
}
#else
// Built without the face: only the headless commands and a running instance can take work.
int runWindow(int, char **, const QStringList &)
{
    std::fputs("This build of Vantrel has no window; use vantrel run.\n", stderr);
    return 2;
}
#endif

} // namespace

int main(int argc, char **argv)
{
    // Arguments are mostly paths, and a path's bytes need not be UTF-8: each is kept as NativeNames
    // reads a name, so that the file it names is the one acted on.
    const QString command = argc > 1 ? NativeNames::decode(argv[1]) : QString();
    QStringList rest;
    for (int i = 2; i < argc; ++i)
        rest.append(NativeNames::decode(argv[i]));

    if (command.isEmpty()) {
        // A second launch only brings the running window forward.
        const auto result = InstanceClient::deliver(Paths::instanceSocket(), {}, 1000);
        if (result.outcome == InstanceClient::Outcome::delivered)
            return 0;
        if (refused(result))
            return 1;
        return runWindow(argc, argv, {});
    }
    if (command == QLatin1String("open")) {
        QString error;
        const auto urls = OpenCommand::urls(rest, &error);
        if (!urls) {
            std::fprintf(stderr, "%s\n", qPrintable(error));
            return 2;
        }
        const auto result = InstanceClient::deliver(Paths::instanceSocket(), *urls, 1000);
        if (result.outcome == InstanceClient::Outcome::delivered)
            return 0;
        if (refused(result))
            return 1;
        return runWindow(argc, argv, *urls);
    }
    if (command == QLatin1String("run")) {
        QCoreApplication app(argc, argv);
        QTextStream out(stdout);
        QTextStream err(stderr);
        return HeadlessRun::run(rest, out, err);
    }
    if (command == QLatin1String("categories")) {
        QCoreApplication app(argc, argv);
        QTextStream out(stdout);
        QTextStream err(stderr);
        return HeadlessRun::categories(rest, out, err);
    }
    if (command == QLatin1String("quick-actions")) {
        QCoreApplication app(argc, argv);
        QTextStream out(stdout);
        QTextStream err(stderr);
        return QuickActionsCommand::run(rest, out, err);
    }
    if (command == QLatin1String("transfer-profiles")) {
        QCoreApplication app(argc, argv);
        QTextStream out(stdout);
        QTextStream err(stderr);
        return TransferProfilesCommand::run(rest, out, err);
    }
    if (command == QLatin1String("service")) {
        QCoreApplication app(argc, argv);
        QTextStream err(stderr);
        return ServiceCommand::run(rest, QCoreApplication::applicationFilePath(), err);
    }
    if (command == QLatin1String("register-desktop")) {
        QCoreApplication app(argc, argv);
        const auto result = DesktopRegistration::registerApplication(QCoreApplication::applicationFilePath());
        for (const QString &path : result.written)
            std::printf("Wrote %s\n", qPrintable(Paths::displayPath(path)));
        for (const QString &line : result.ran)
            std::printf("Ran %s\n", qPrintable(line));
        for (const QString &problem : result.problems)
            std::fprintf(stderr, "%s\n", qPrintable(problem));
        return result.problems.isEmpty() ? 0 : 1;
    }
    if (command == QLatin1String("--version")) {
        std::printf("Vantrel %s\n", VANTREL_VERSION);
        return 0;
    }
    if (command == QLatin1String("--help") || command == QLatin1String("-h")) {
        std::fputs(usage, stdout);
        return 0;
    }
    std::fprintf(stderr, "Unknown command %s.\n%s", qPrintable(command), usage);
    return 2;
}
