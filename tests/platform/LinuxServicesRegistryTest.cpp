#include "platform/ServicesRegistry.h"

#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/linux/ServiceLaunchers.h"

#include "TestHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>

#include <glib.h>
#include <gtest/gtest.h>

#include <ostream>

namespace {

QString statusPath()
{
    return Paths::applicationSupport() + QStringLiteral("/services-status.json");
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QJsonObject statusFileRoot()
{
    return QJsonDocument::fromJson(readAll(statusPath())).object();
}

// A temporary home whose launchers run a script that records its arguments, NUL-separated, in a file.
class LauncherHome : public TestHome {
public:
    LauncherHome()
        : saved(qEnvironmentVariableIsSet("VANTREL_EXECUTABLE") ? std::optional(qgetenv("VANTREL_EXECUTABLE"))
                                                                : std::nullopt)
    {
        recorder = makeFile(QStringLiteral("bin/vantrel"), QByteArray("#!/bin/sh\nfor argument do printf '%s\\0' "
                                                                      "\"$argument\"; done > '") +
                                                               QFile::encodeName(path(QStringLiteral("argv"))) +
                                                               QByteArray("'\n"));
        QFile::setPermissions(recorder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        qputenv("VANTREL_EXECUTABLE", QFile::encodeName(recorder));
    }
    ~LauncherHome()
    {
        if (saved)
            qputenv("VANTREL_EXECUTABLE", *saved);
        else
            qunsetenv("VANTREL_EXECUTABLE");
    }
    LauncherHome(const LauncherHome &) = delete;
    LauncherHome &operator=(const LauncherHome &) = delete;

    // An installed bundle whose Info.plist gives `menuName`.
    QString addBundle(const QString &fileName, const QString &menuName)
    {
        const QVariantMap item{{QStringLiteral("default"), menuName}};
        const QVariantMap info{
            {QStringLiteral("NSServices"), QVariantList{QVariantMap{{QStringLiteral("NSMenuItem"), item}}}}};
        const QString relative = QDir(home()).relativeFilePath(Paths::servicesFolder()) + QLatin1Char('/') + fileName;
        makeFile(relative + QStringLiteral("/Contents/Info.plist"), PropertyList::toXml(info));
        return path(relative);
    }

    QStringList recorded() const
    {
        QStringList arguments;
        const QByteArray bytes = readAll(path(QStringLiteral("argv")));
        for (const QByteArray &argument : bytes.split('\0'))
            arguments.append(QString::fromUtf8(argument));
        if (!arguments.isEmpty())
            arguments.removeLast(); // after the last NUL
        return arguments;
    }

    QString recorder;

private:
    std::optional<QByteArray> saved;
};

// The tools the launchers are checked with; CI installs them, so a missing one fails loudly.
QString tool(const char *name, const char *package)
{
    QString found = QStandardPaths::findExecutable(QString::fromUtf8(name));
    if (found.isEmpty())
        ADD_FAILURE() << name << " is not installed; install " << package << " (scripts/install-deps.sh)";
    return found;
}

struct ToolRun {
    int exitCode = -1;
    QString output;
    QString errors;
};

ToolRun run(const QString &program, const QStringList &arguments, const QString &folder = {})
{
    QProcess process;
    if (!folder.isEmpty())
        process.setWorkingDirectory(folder);
    process.start(program, arguments);
    ToolRun result;
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit)
        return result;
    result.exitCode = process.exitCode();
    result.output = QString::fromUtf8(process.readAllStandardOutput());
    result.errors = QString::fromUtf8(process.readAllStandardError());
    return result;
}

// Splits an Exec value as the desktop entry rules read it: blanks separate arguments, double quotes
// group them, and inside quotes a backslash takes the next of `"`, `` ` ``, `$` and `\` literally;
// "%%" stands for a percent sign.
QStringList splitDesktopExec(const QString &exec)
{
    QStringList arguments;
    QString current;
    bool inArgument = false;
    bool quoted = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec.at(i);
        if (quoted) {
            if (c == QLatin1Char('"')) {
                quoted = false;
            } else if (c == QLatin1Char('\\') && i + 1 < exec.size() &&
                       QStringLiteral("\"`$\\").contains(exec.at(i + 1))) {
                current += exec.at(++i);
            } else {
                current += c;
            }
        } else if (c == QLatin1Char(' ')) {
            if (inArgument)
                arguments.append(current);
            current.clear();
            inArgument = false;
        } else if (c == QLatin1Char('"')) {
            quoted = true;
            inArgument = true;
        } else {
            current += c;
            inArgument = true;
        }
    }
    if (inArgument)
        arguments.append(current);
    for (QString &argument : arguments) {
        if (argument != QLatin1String("%F"))
            argument.replace(QStringLiteral("%%"), QStringLiteral("%"));
    }
    return arguments;
}

// Nemo's expansion of Exec: "%%" is a percent sign, "%F" the selected paths, each quoted for the shell.
QString expandNemoExec(const QString &exec, const QStringList &files)
{
    QString expanded;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        if (exec.at(i) == QLatin1Char('%') && i + 1 < exec.size()) {
            const QChar token = exec.at(++i);
            if (token == QLatin1Char('%')) {
                expanded += QLatin1Char('%');
            } else if (token == QLatin1Char('F')) {
                QStringList quoted;
                for (const QString &file : files) {
                    gchar *one = g_shell_quote(file.toUtf8().constData());
                    quoted.append(QString::fromUtf8(one));
                    g_free(one);
                }
                expanded += quoted.join(QLatin1Char(' '));
            } else {
                ADD_FAILURE() << "unexpected field code %" << token.toLatin1();
            }
        } else {
            expanded += exec.at(i);
        }
    }
    return expanded;
}

std::optional<QStringList> shellSplit(const QString &line)
{
    gint count = 0;
    gchar **argv = nullptr;
    GError *error = nullptr;
    if (!g_shell_parse_argv(line.toUtf8().constData(), &count, &argv, &error)) {
        ADD_FAILURE() << "g_shell_parse_argv: " << error->message;
        g_error_free(error);
        return std::nullopt;
    }
    QStringList arguments;
    for (gint i = 0; i < count; ++i)
        arguments.append(QString::fromUtf8(argv[i]));
    g_strfreev(argv);
    return arguments;
}

std::optional<QString> keyFileString(GKeyFile *file, const char *group, const char *key)
{
    GError *error = nullptr;
    gchar *value = g_key_file_get_string(file, group, key, &error);
    if (value == nullptr) {
        ADD_FAILURE() << group << "/" << key << ": " << error->message;
        g_error_free(error);
        return std::nullopt;
    }
    QString text = QString::fromUtf8(value);
    g_free(value);
    return text;
}

struct NameCase {
    const char *name;
    QString menuName;
};

void PrintTo(const NameCase &c, std::ostream *os)
{
    *os << c.name;
}

const auto nameCases = ::testing::Values(
    NameCase{"Blanks", QStringLiteral("Vantrel - Rename  Files")},
    NameCase{"SingleQuote", QStringLiteral("Don't 'Panic'")}, NameCase{"DoubleQuote", QStringLiteral("Say \"Hi\"")},
    NameCase{"Percent", QStringLiteral("100% Size %F %%")},
    NameCase{"Ampersand", QStringLiteral("Text & Comment Tools")},
    NameCase{"Dollar", QStringLiteral("Cost $HOME $(id) ${x}")}, NameCase{"Semicolon", QStringLiteral("One; Two;")},
    NameCase{"Backslash", QStringLiteral("Back\\slash \\n \\\\")}, NameCase{"Backtick", QStringLiteral("Run `date`")},
    NameCase{"Slash", QStringLiteral("In/Out/")}, NameCase{"NonAscii", QStringLiteral("Café – Tags ✓")},
    NameCase{"LeadingAndTrailingBlank", QStringLiteral(" Padded ")});

std::string rowName(const ::testing::TestParamInfo<NameCase> &info)
{
    return info.param.name;
}

} // namespace

TEST(LinuxServicesRegistry, LoadsNothingWithoutAFile)
{
    TestHome env;
    EXPECT_FALSE(ServicesRegistry::system().load());
    ServicesRegistry::system().disable({QStringLiteral("A")});
    EXPECT_FALSE(QFile::exists(statusPath())) << "disabling without a dictionary only refreshes";
}

TEST(LinuxServicesRegistry, AnEmptyListTouchesNothing)
{
    LauncherHome env;
    ServicesRegistry::system().enable({});
    ServicesRegistry::system().disable({});
    EXPECT_FALSE(QFile::exists(statusPath()));

    // An undecodable file stays where it is too, and no launcher appears.
    env.makeFile(QDir(env.home()).relativeFilePath(statusPath()), "{not json");
    const QString stale = env.makeFile(QStringLiteral(".local/share/nemo/actions/Vantrel - Old.nemo_action"), "x");
    ServicesRegistry::system().enable({});
    ServicesRegistry::system().disable({});
    EXPECT_EQ(readAll(statusPath()), QByteArray("{not json"));
    EXPECT_EQ(QDir(Paths::applicationSupport()).entryList(QDir::Files), QStringList{"services-status.json"});
    EXPECT_TRUE(QFile::exists(stale));
}

TEST(LinuxServicesRegistry, KeepsOtherTopLevelKeysOfTheFile)
{
    TestHome env;
    env.makeFile(QDir(env.home()).relativeFilePath(statusPath()),
                 R"({"Other": {"kept": [1, 2]}, "NSServicesStatus": {"(null) - Old - runWorkflowAsService": {}}})");
    ServicesRegistry::system().enable({QStringLiteral("New")});
    const QJsonObject root = statusFileRoot();
    EXPECT_EQ(root.value(QStringLiteral("Other")).toObject(), QJsonDocument::fromJson(R"({"kept": [1, 2]})").object());
    const QVariantMap status = ServicesRegistry::system().load().value_or(QVariantMap());
    EXPECT_EQ(status.keys(),
              (QStringList{"(null) - New - runWorkflowAsService", "(null) - Old - runWorkflowAsService"}));
}

TEST(LinuxServicesRegistry, MovesAnUndecodableFileAsideBeforeStoring)
{
    TestHome env;
    const QByteArray damaged("{\"NSServicesStatus\": {\"(null) - A - runWorkflowAsService\"");
    env.makeFile(QDir(env.home()).relativeFilePath(statusPath()), damaged);
    EXPECT_FALSE(ServicesRegistry::system().load()) << "a file that doesn't decode loads as absent";

    ServicesRegistry::system().enable({QStringLiteral("B")});
    EXPECT_EQ(ServicesRegistry::system().load().value_or(QVariantMap()).keys(),
              QStringList{"(null) - B - runWorkflowAsService"});
    const QStringList aside =
        QDir(Paths::applicationSupport()).entryList({QStringLiteral("services-status.json.unreadable-*")}, QDir::Files);
    ASSERT_EQ(aside.size(), 1);
    EXPECT_EQ(readAll(Paths::applicationSupport() + QLatin1Char('/') + aside.constFirst()), damaged);

    // A second damaged file finds its own name beside the first.
    env.makeFile(QDir(env.home()).relativeFilePath(statusPath()), "[1]");
    ServicesRegistry::system().enable({QStringLiteral("C")});
    EXPECT_EQ(QDir(Paths::applicationSupport())
                  .entryList({QStringLiteral("services-status.json.unreadable-*")}, QDir::Files)
                  .size(),
              2);
}

TEST(LinuxServicesRegistry, AStatusOfAnotherTypeLoadsAsAbsentAndIsReplaced)
{
    TestHome env;
    env.makeFile(QDir(env.home()).relativeFilePath(statusPath()), R"({"NSServicesStatus": [1], "Other": true})");
    EXPECT_FALSE(ServicesRegistry::system().load());
    ServicesRegistry::system().enable({QStringLiteral("A")});
    EXPECT_EQ(ServicesRegistry::system().load().value_or(QVariantMap()).size(), 1);
    EXPECT_TRUE(statusFileRoot().value(QStringLiteral("Other")).toBool());
}

TEST(LinuxServicesRegistry, StoreGivesTheSystemsReason)
{
    TestHome env;
    // A file where the folder should be.
    env.makeFile(QDir(env.home()).relativeFilePath(Paths::applicationSupport()), "x");
    const auto failed = ServicesRegistry::system().store({});
    ASSERT_TRUE(failed);
    EXPECT_TRUE(failed->contains(QStringLiteral("Not a directory")) || failed->contains(QStringLiteral("File exists")))
        << failed->toStdString();
}

class LinuxServicesRegistryNames : public ::testing::TestWithParam<NameCase> {};

TEST_P(LinuxServicesRegistryNames, EnableKeepsAnEntrysOtherKeysAndDisableRemovesIt)
{
    TestHome env;
    const QString name = GetParam().menuName;
    const QString key = ServicesRegistry::key(name);
    const QVariantMap stale{{QStringLiteral("presentation_modes"), QVariantMap{{QStringLiteral("TouchBar"), true}}},
                            {QStringLiteral("enabled_context_menu"), false}};
    ASSERT_FALSE(ServicesRegistry::system().store({{key, stale}, {QStringLiteral("other"), QVariantMap()}}));

    ServicesRegistry::system().enable({name, QStringLiteral("Fresh")});
    const QVariantMap status = ServicesRegistry::system().load().value_or(QVariantMap());
    const QVariantMap entry = status.value(key).toMap();
    EXPECT_EQ(entry.value(QStringLiteral("presentation_modes")).toMap(), ServicesRegistry::presentationModes());
    EXPECT_EQ(entry.value(QStringLiteral("enabled_context_menu")), QVariant(false));
    EXPECT_EQ(status.value(ServicesRegistry::key(QStringLiteral("Fresh"))).toMap(),
              (QVariantMap{{QStringLiteral("presentation_modes"), ServicesRegistry::presentationModes()}}));
    EXPECT_TRUE(status.contains(QStringLiteral("other")));

    ServicesRegistry::system().disable({name, QStringLiteral("Never There")});
    const QVariantMap after = ServicesRegistry::system().load().value_or(QVariantMap());
    EXPECT_EQ(after.keys(), (QStringList{ServicesRegistry::key(QStringLiteral("Fresh")), QStringLiteral("other")}));
}

TEST_P(LinuxServicesRegistryNames, WritesThreeLaunchersWithTheirModes)
{
    LauncherHome env;
    const QString name = GetParam().menuName;
    env.addBundle(QStringLiteral("Vantrel - One.workflow"), name);
    ServicesRegistry::system().enable({name});

    const QStringList launchers = ServiceLaunchers::paths(name);
    QString stem = QStringLiteral("Vantrel - ") + name;
    stem.replace(QLatin1Char('/'), QLatin1Char('-'));
    EXPECT_EQ(launchers, (QStringList{env.path(QStringLiteral(".local/share/nautilus/scripts/") + stem),
                                      env.path(QStringLiteral(".local/share/nemo/actions/") + stem + ".nemo_action"),
                                      env.path(QStringLiteral(".local/share/kio/servicemenus/") + stem + ".desktop")}));
    const QList<QFileDevice::Permissions> modes{
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup |
            QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther,
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther,
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup |
            QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther,
    };
    for (qsizetype i = 0; i < launchers.size(); ++i) {
        ASSERT_TRUE(QFileInfo(launchers.at(i)).isFile()) << launchers.at(i).toStdString();
        const auto mask = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
                          QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup |
                          QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther;
        EXPECT_EQ(QFile::permissions(launchers.at(i)) & mask, modes.at(i)) << launchers.at(i).toStdString();
    }
}

TEST_P(LinuxServicesRegistryNames, GnomeFilesScriptRunsTheActionOnAbsolutePaths)
{
    LauncherHome env;
    const QString name = GetParam().menuName;
    env.addBundle(QStringLiteral("Vantrel - One.workflow"), name);
    ServicesRegistry::system().enable({name});

    // GNOME Files starts the script in the folder it shows, with names relative to it.
    const QString folder = env.makeFolder(QStringLiteral("Browsed 'Folder' $x"));
    const QStringList files{QStringLiteral("a b.txt"), QStringLiteral("it's \"q\" 100%.txt"),
                            QStringLiteral("-starts with dash"), QStringLiteral("sub/Café.txt")};
    const QString absolute = env.path(QStringLiteral("elsewhere/x.txt"));
    const ToolRun result = run(ServiceLaunchers::paths(name).at(0), files + QStringList{absolute}, folder);
    ASSERT_EQ(result.exitCode, 0) << result.errors.toStdString();

    QStringList expected{QStringLiteral("service"), name, QStringLiteral("--")};
    for (const QString &file : files)
        expected.append(folder + QLatin1Char('/') + file);
    expected.append(absolute);
    EXPECT_EQ(env.recorded(), expected);
}

TEST_P(LinuxServicesRegistryNames, NemoActionParsesWithGLib)
{
    LauncherHome env;
    const QString name = GetParam().menuName;
    env.addBundle(QStringLiteral("Vantrel - One.workflow"), name);
    ServicesRegistry::system().enable({name});

    GKeyFile *file = g_key_file_new();
    GError *error = nullptr;
    const QByteArray path = QFile::encodeName(ServiceLaunchers::paths(name).at(1));
    ASSERT_TRUE(g_key_file_load_from_file(file, path.constData(), G_KEY_FILE_NONE, &error))
        << (error != nullptr ? error->message : "");
    const char *group = "Nemo Action";
    // The keys Nemo's sample marks as required, and the ones that keep the action on for every selection.
    EXPECT_EQ(keyFileString(file, group, "Active"), QStringLiteral("true"));
    EXPECT_EQ(keyFileString(file, group, "Selection"), QStringLiteral("notnone"));
    EXPECT_EQ(keyFileString(file, group, "Extensions"), QStringLiteral("any;"));
    EXPECT_EQ(keyFileString(file, group, "Icon-Name"), QStringLiteral("system-run"));
    const auto title = keyFileString(file, group, "Name");
    ASSERT_TRUE(title);
    EXPECT_EQ(QString(*title).replace(QStringLiteral("%%"), QStringLiteral("%")), name);
    EXPECT_TRUE(keyFileString(file, group, "Comment"));

    const auto exec = keyFileString(file, group, "Exec");
    ASSERT_TRUE(exec);
    const QStringList files{QStringLiteral("/tmp/a b/it's.txt"), QStringLiteral("/tmp/100% \"x\"/$y.txt")};
    const auto argv = shellSplit(expandNemoExec(*exec, files));
    ASSERT_TRUE(argv);
    EXPECT_EQ(*argv, (QStringList{env.recorder, QStringLiteral("service"), name, QStringLiteral("--")} + files));
    g_key_file_free(file);
}

TEST_P(LinuxServicesRegistryNames, DolphinServiceMenuValidatesAndReadsBack)
{
    LauncherHome env;
    const QString name = GetParam().menuName;
    env.addBundle(QStringLiteral("Vantrel - One.workflow"), name);
    ServicesRegistry::system().enable({name});
    const QString path = ServiceLaunchers::paths(name).at(2);

    const QString validate = tool("desktop-file-validate", "desktop-file-utils");
    const QString kreadconfig = tool("kreadconfig5", "libkf5config-bin");
    ASSERT_FALSE(validate.isEmpty() || kreadconfig.isEmpty());

    // KDE's Type=Service isn't one the desktop entry rules know, so these two keys are all it objects to.
    const ToolRun validated = run(validate, {path});
    QStringList errors;
    for (const QString &line : validated.output.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.contains(QStringLiteral(": error: ")))
            errors.append(line.mid(line.indexOf(QStringLiteral(": error: ")) + 9));
    }
    EXPECT_EQ(errors, (QStringList{
                          "key \"MimeType\" is present in group \"Desktop Entry\", but the type is \"Service\" while "
                          "this key is only valid for type \"Application\"",
                          "key \"Actions\" is present in group \"Desktop Entry\", but the type is \"Service\" while "
                          "this key is only valid for type \"Application\"",
                      }))
        << validated.output.toStdString() << validated.errors.toStdString();

    const auto read = [&](const char *group, const char *key) {
        const ToolRun result =
            run(kreadconfig, {QStringLiteral("--file"), path, QStringLiteral("--group"), QString::fromUtf8(group),
                              QStringLiteral("--key"), QString::fromUtf8(key)});
        EXPECT_EQ(result.exitCode, 0) << result.errors.toStdString();
        return result.output.chopped(result.output.endsWith(QLatin1Char('\n')) ? 1 : 0);
    };
    EXPECT_EQ(read("Desktop Entry", "X-KDE-Submenu"), QStringLiteral("Vantrel"));
    EXPECT_EQ(read("Desktop Entry", "Type"), QStringLiteral("Service"));
    // KDE reads the raw value, in which "&&" is one ampersand once the menu shows it.
    EXPECT_EQ(read("Desktop Action vantrel", "Name"), QString(name).replace(QLatin1Char('&'), QStringLiteral("&&")));
    EXPECT_EQ(splitDesktopExec(read("Desktop Action vantrel", "Exec")),
              (QStringList{env.recorder, QStringLiteral("service"), name, QStringLiteral("--"), QStringLiteral("%F")}));
}

INSTANTIATE_TEST_SUITE_P(MenuNames, LinuxServicesRegistryNames, nameCases, rowName);

TEST(LinuxServicesRegistry, RefreshWritesLaunchersOnlyForEnabledBundlesAndKeepsForeignFiles)
{
    LauncherHome env;
    env.addBundle(QStringLiteral("Vantrel - Tags.workflow"), QStringLiteral("Tags"));
    env.addBundle(QStringLiteral("Vantrel - Hidden.workflow"), QStringLiteral("Hidden"));
    env.addBundle(QStringLiteral("Mine.workflow"), QStringLiteral("Mine"));
    const QStringList foreign{
        env.makeFile(QStringLiteral(".local/share/nautilus/scripts/My Script"), "#!/bin/sh\n"),
        env.makeFile(QStringLiteral(".local/share/nemo/actions/mine.nemo_action"), "[Nemo Action]\n"),
        env.makeFile(QStringLiteral(".local/share/kio/servicemenus/Vantrel-no-blank.desktop"), "[Desktop Entry]\n"),
    };
    const QStringList stale = ServiceLaunchers::paths(QStringLiteral("Old")) +
                              QStringList{env.makeFile(QStringLiteral(".local/share/nemo/actions/Vantrel - x.txt"))};
    for (const QString &path : stale)
        env.makeFile(QDir(env.home()).relativeFilePath(path), "old");
    // A folder that happens to carry our prefix isn't a launcher.
    const QString folder = env.makeFolder(QStringLiteral(".local/share/nautilus/scripts/Vantrel - Folder"));

    ASSERT_FALSE(ServicesRegistry::system().store(
        {{ServicesRegistry::key(QStringLiteral("Hidden")),
          QVariantMap{{QStringLiteral("presentation_modes"), QVariantMap{{QStringLiteral("ContextMenu"), false}}}}}}));
    ServicesRegistry::system().enable({QStringLiteral("Tags"), QStringLiteral("No Bundle"), QStringLiteral("Mine")});

    for (const QString &name : {QStringLiteral("Tags"), QStringLiteral("Mine")}) {
        for (const QString &path : ServiceLaunchers::paths(name))
            EXPECT_TRUE(QFile::exists(path)) << path.toStdString();
    }
    for (const QString &name : {QStringLiteral("No Bundle"), QStringLiteral("Hidden")}) {
        for (const QString &path : ServiceLaunchers::paths(name))
            EXPECT_FALSE(QFile::exists(path)) << path.toStdString();
    }
    for (const QString &path : stale)
        EXPECT_FALSE(QFile::exists(path)) << path.toStdString();
    for (const QString &path : foreign)
        EXPECT_TRUE(QFile::exists(path)) << path.toStdString();
    EXPECT_TRUE(QFileInfo(folder).isDir());

    // Disabling takes the launchers away; a bundle removed without disabling loses them at the next refresh.
    ServicesRegistry::system().disable({QStringLiteral("Tags")});
    for (const QString &path : ServiceLaunchers::paths(QStringLiteral("Tags")))
        EXPECT_FALSE(QFile::exists(path)) << path.toStdString();
    ASSERT_TRUE(QDir(Paths::servicesFolder() + QStringLiteral("/Mine.workflow")).removeRecursively());
    ServicesRegistry::system().refresh();
    for (const QString &path : ServiceLaunchers::paths(QStringLiteral("Mine")))
        EXPECT_FALSE(QFile::exists(path)) << path.toStdString();
    for (const QString &path : foreign)
        EXPECT_TRUE(QFile::exists(path)) << path.toStdString();
}

TEST(LinuxServicesRegistry, RefreshReplacesALauncherThatPointsElsewhere)
{
    LauncherHome env;
    env.addBundle(QStringLiteral("Vantrel - Tags.workflow"), QStringLiteral("Tags"));
    ServicesRegistry::system().enable({QStringLiteral("Tags")});
    const QString script = ServiceLaunchers::paths(QStringLiteral("Tags")).at(0);
    ASSERT_TRUE(readAll(script).contains(QFile::encodeName(env.recorder)));

    const QString moved = env.makeFile(QStringLiteral("moved/vantrel"));
    qputenv("VANTREL_EXECUTABLE", QFile::encodeName(moved));
    ServicesRegistry::system().refresh();
    EXPECT_TRUE(readAll(script).contains(QFile::encodeName(moved)));
    EXPECT_FALSE(readAll(script).contains(QFile::encodeName(env.recorder)));
}

TEST(LinuxServicesRegistry, NemoLoadsTheActionWithoutAWarning)
{
    LauncherHome env;
    const QString xvfbRun = tool("xvfb-run", "xvfb");
    const QString dbusRunSession = tool("dbus-run-session", "dbus-x11");
    const QString nemo = tool("nemo", "nemo");
    ASSERT_FALSE(xvfbRun.isEmpty() || dbusRunSession.isEmpty() || nemo.isEmpty());

    const QString name = QStringLiteral("Text & Comment 100% 'q' \"x\" $HOME\\");
    env.addBundle(QStringLiteral("Vantrel - Text.workflow"), name);
    ServicesRegistry::system().enable({name});
    // A file Nemo refuses shows that it read the folder, and what its warnings look like.
    const QString broken = env.makeFile(QStringLiteral(".local/share/nemo/actions/broken.nemo_action"),
                                        "[Nemo Action]\nActive=true\nName=Broken\n");

    // Nemo stays open, so it is stopped once it has warned about the broken file and had a moment more.
    const QString log = env.path(QStringLiteral("nemo.log"));
    const QString script = QStringLiteral("\"$1\" --no-desktop \"$2\" >\"$3\" 2>&1 & nemo=$!\n"
                                          "for i in $(seq 150); do grep -q broken.nemo_action \"$3\" && break; "
                                          "sleep 0.2; done\n"
                                          "sleep 1; kill $nemo; wait $nemo; exit 0\n");
    const ToolRun result =
        run(xvfbRun, {QStringLiteral("-a"), dbusRunSession, QStringLiteral("--"), QStringLiteral("/bin/sh"),
                      QStringLiteral("-c"), script, QStringLiteral("sh"), nemo, env.home(), log});
    ASSERT_EQ(result.exitCode, 0) << result.errors.toStdString();
    const QString output = QString::fromUtf8(readAll(log));
    ASSERT_TRUE(output.contains(broken)) << "Nemo never read its actions folder:\n" << output.toStdString();
    EXPECT_FALSE(output.contains(QStringLiteral("Vantrel - "))) << output.toStdString();
}
