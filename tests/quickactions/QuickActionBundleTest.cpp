#include "quickactions/QuickActionBundle.h"
#include "foundation/Workflow.h"
#include "foundation/WorkflowCatalog.h"
#include "platform/PropertyList.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantList>
#include <QVariantMap>

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

// Workflow is in the global namespace, where gtest's printer lookup finds this.
static void PrintTo(const Workflow &workflow, std::ostream *os)
{
    *os << workflow.id.toStdString();
}

namespace {

std::string str(const QString &text)
{
    return text.toStdString();
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray toBinary(const QVariantMap &map)
{
    const QByteArray xml = PropertyList::toXml(map);
    plist_t root = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &root);
    char *bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(root, &bytes, &length);
    plist_free(root);
    const QByteArray binary(bytes, qsizetype(length));
    plist_to_bin_free(bytes);
    return binary;
}

// Everything in `folder`, hidden entries included: a write must leave no staging folders behind.
QStringList entriesOf(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

QList<Workflow> everyCatalogueRow()
{
    QList<Workflow> rows = WorkflowCatalog::coreWorkflows();
    rows.append(WorkflowCatalog::packWorkflows());
    return rows;
}

// --- The application's own bundles, for every catalogue row ---------------------------------

class GeneratedBundle : public testing::TestWithParam<Workflow> {};

TEST_P(GeneratedBundle, ReadsBackAsAFinderQuickActionThatOpensTheWorkflow)
{
    const Workflow &workflow = GetParam();
    // Three core rows open under an older name; every other row uses its catalogue id.
    const QHash<QString, QString> renamedInUrls{
        {QStringLiteral("category-tagging"), QStringLiteral("tag-category-selector")},
        {QStringLiteral("duplicate-scanner"), QStringLiteral("smart-duplicate-scanner")},
        {QStringLiteral("spotlight-refresher"), QStringLiteral("spotlight-path-refresher")},
    };
    const QString expectedUrlID = renamedInUrls.value(workflow.id, workflow.id);

    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    QString error;
    ASSERT_TRUE(QuickActionBundleWriter::write(workflow, WorkflowCatalog::urlIDForWorkflow(workflow.id), dir.path(),
                                               false, &error))
        << str(error);
    EXPECT_EQ(entriesOf(dir.path()), QStringList{workflow.bundleName});

    const QString bundlePath = dir.filePath(workflow.bundleName);
    const std::optional<QuickActionBundle> bundle = QuickActionBundle::read(bundlePath, &error);
    ASSERT_TRUE(bundle.has_value()) << str(error);

    ASSERT_TRUE(workflow.bundleName.startsWith(QStringLiteral("Vantrel - ")));
    ASSERT_TRUE(workflow.bundleName.endsWith(QStringLiteral(".workflow")));
    const QString title = workflow.bundleName.mid(10).chopped(9);
    EXPECT_EQ(bundle->path, bundlePath);
    EXPECT_EQ(bundle->menuName, title);
    EXPECT_TRUE(bundle->isFinderService);
    EXPECT_EQ(bundle->sendFileTypes, QStringList{QStringLiteral("public.item")});

    ASSERT_EQ(bundle->actions.size(), 1);
    const QuickActionBundle::Action &action = bundle->actions.first();
    EXPECT_EQ(action.className, QStringLiteral("RunShellScriptAction"));
    EXPECT_EQ(action.actionName, QStringLiteral("Run Shell Script"));
    EXPECT_EQ(action.parameters.value(QStringLiteral("COMMAND_STRING")).toString(),
              QStringLiteral("vantrel open --workflow ") + expectedUrlID + QStringLiteral(" -- \"$@\""));
    EXPECT_EQ(action.parameters.value(QStringLiteral("shell")).toString(), QStringLiteral("/bin/bash"));
    EXPECT_EQ(action.parameters.value(QStringLiteral("inputMethod")).typeId(), QMetaType::LongLong);
    EXPECT_EQ(action.parameters.value(QStringLiteral("inputMethod")).toLongLong(), 1);

    const PropertyList::ReadResult info = PropertyList::readFile(bundlePath + QStringLiteral("/Contents/Info.plist"));
    ASSERT_TRUE(info.ok()) << str(info.error);
    const QVariantMap infoMap = info.value.toMap();
    EXPECT_EQ(infoMap.value(QStringLiteral("CFBundleIdentifier")).toString(),
              QStringLiteral("com.vantrel.workflow.") + workflow.id);
    EXPECT_EQ(infoMap.value(QStringLiteral("CFBundleShortVersionString")).toString(), workflow.version);
    EXPECT_FALSE(infoMap.value(QStringLiteral("CFBundleName")).toString().isEmpty());
    const QVariantMap service = infoMap.value(QStringLiteral("NSServices")).toList().value(0).toMap();
    EXPECT_EQ(service.value(QStringLiteral("NSMessage")).toString(), QStringLiteral("runWorkflowAsService"));

    const PropertyList::ReadResult document =
        PropertyList::readFile(bundlePath + QStringLiteral("/Contents/document.wflow"));
    ASSERT_TRUE(document.ok()) << str(document.error);
    const QVariantMap meta = document.value.toMap().value(QStringLiteral("workflowMetaData")).toMap();
    EXPECT_EQ(meta.value(QStringLiteral("workflowTypeIdentifier")).toString(),
              QStringLiteral("com.apple.Automator.servicesMenu"));
    EXPECT_EQ(meta.value(QStringLiteral("serviceApplicationBundleID")).toString(), QStringLiteral("com.apple.finder"));
    EXPECT_EQ(meta.value(QStringLiteral("serviceInputTypeIdentifier")).toString(),
              QStringLiteral("com.apple.Automator.fileSystemObject"));
    const QVariantMap rawAction = document.value.toMap()
                                      .value(QStringLiteral("actions"))
                                      .toList()
                                      .value(0)
                                      .toMap()
                                      .value(QStringLiteral("action"))
                                      .toMap();
    EXPECT_EQ(rawAction.value(QStringLiteral("BundleIdentifier")).toString(),
              QStringLiteral("com.apple.RunShellScript"));
}

INSTANTIATE_TEST_SUITE_P(EveryCatalogueRow, GeneratedBundle, testing::ValuesIn(everyCatalogueRow()),
                         [](const testing::TestParamInfo<Workflow> &info) {
                             return QString(info.param.id).replace(QLatin1Char('-'), QLatin1Char('_')).toStdString();
                         });

TEST(QuickActionBundleWriter, AllRowsShareOneFolderWithoutClashing)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    QStringList expected;
    for (const Workflow &workflow : everyCatalogueRow()) {
        QString error;
        ASSERT_TRUE(QuickActionBundleWriter::write(workflow, WorkflowCatalog::urlIDForWorkflow(workflow.id), dir.path(),
                                                   false, &error))
            << str(error);
        expected.append(workflow.bundleName);
    }
    expected.sort();
    EXPECT_EQ(entriesOf(dir.path()), expected);
}

TEST(QuickActionBundleWriter, CreatesAMissingOutputFolder)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const Workflow workflow = WorkflowCatalog::coreWorkflows().first();
    const QString folder = dir.filePath(QStringLiteral("Library/Services"));
    QString error;
    ASSERT_TRUE(QuickActionBundleWriter::write(workflow, workflow.id, folder, false, &error)) << str(error);
    EXPECT_TRUE(QuickActionBundle::read(QDir(folder).filePath(workflow.bundleName)).has_value());
}

TEST(QuickActionBundleWriter, RefusesAnExistingBundleUnlessOverwriting)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const Workflow workflow = WorkflowCatalog::coreWorkflows().first();
    const QString target = dir.filePath(workflow.bundleName);
    QString error;
    ASSERT_TRUE(QuickActionBundleWriter::write(workflow, QStringLiteral("first-id"), dir.path(), false, &error));

    // Something of the user's inside the bundle: a refused write must not touch it.
    const QString marker = target + QStringLiteral("/Contents/Resources/keep.txt");
    ASSERT_TRUE(writeBytes(marker, "mine"));

    error.clear();
    EXPECT_FALSE(QuickActionBundleWriter::write(workflow, QStringLiteral("second-id"), dir.path(), false, &error));
    EXPECT_TRUE(error.contains(workflow.bundleName)) << str(error);
    EXPECT_TRUE(error.contains(QStringLiteral("already exists"))) << str(error);
    EXPECT_TRUE(QFile::exists(marker));
    std::optional<QuickActionBundle> bundle = QuickActionBundle::read(target);
    ASSERT_TRUE(bundle.has_value());
    EXPECT_TRUE(bundle->actions.value(0)
                    .parameters.value(QStringLiteral("COMMAND_STRING"))
                    .toString()
                    .contains(QStringLiteral("first-id")));
    EXPECT_EQ(entriesOf(dir.path()), QStringList{workflow.bundleName});

    // Overwriting replaces the bundle whole: the stray file goes with the old one.
    ASSERT_TRUE(QuickActionBundleWriter::write(workflow, QStringLiteral("second-id"), dir.path(), true, &error))
        << str(error);
    EXPECT_FALSE(QFile::exists(marker));
    bundle = QuickActionBundle::read(target);
    ASSERT_TRUE(bundle.has_value());
    EXPECT_TRUE(bundle->actions.value(0)
                    .parameters.value(QStringLiteral("COMMAND_STRING"))
                    .toString()
                    .contains(QStringLiteral("second-id")));
    EXPECT_EQ(entriesOf(dir.path()), QStringList{workflow.bundleName});
}

TEST(QuickActionBundleWriter, RefusesAPlainFileInTheBundlesPlace)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const Workflow workflow = WorkflowCatalog::coreWorkflows().first();
    const QString target = dir.filePath(workflow.bundleName);
    ASSERT_TRUE(writeBytes(target, "not a bundle"));

    QString error;
    EXPECT_FALSE(QuickActionBundleWriter::write(workflow, workflow.id, dir.path(), false, &error));
    EXPECT_FALSE(error.isEmpty());
    QFile file(target);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("not a bundle"));
    EXPECT_EQ(entriesOf(dir.path()), QStringList{workflow.bundleName});
}

struct WriteFailureCase {
    std::string name;
    std::function<Workflow()> workflow;
    QString urlID;
    bool folderIsAFile = false;
};

void PrintTo(const WriteFailureCase &c, std::ostream *os)
{
    *os << c.name;
}

class QuickActionBundleWriteFailure : public testing::TestWithParam<WriteFailureCase> {};

TEST_P(QuickActionBundleWriteFailure, FailsWithAnErrorAndWritesNothing)
{
    const WriteFailureCase &c = GetParam();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString folder = dir.filePath(QStringLiteral("out"));
    if (c.folderIsAFile) {
        ASSERT_TRUE(writeBytes(folder, "a file, not a folder"));
    }

    QString error;
    EXPECT_FALSE(QuickActionBundleWriter::write(c.workflow(), c.urlID, folder, true, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(entriesOf(dir.path()), c.folderIsAFile ? QStringList{QStringLiteral("out")} : QStringList());
}

Workflow withBundleName(const QString &bundleName)
{
    Workflow workflow = WorkflowCatalog::coreWorkflows().first();
    workflow.bundleName = bundleName;
    return workflow;
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, QuickActionBundleWriteFailure,
    testing::Values(WriteFailureCase{"OutputFolderIsAFile", [] { return WorkflowCatalog::coreWorkflows().first(); },
                                     QStringLiteral("tag-category-selector"), true},
                    WriteFailureCase{"EmptyUrlID", [] { return WorkflowCatalog::coreWorkflows().first(); }, QString()},
                    WriteFailureCase{"BundleNameWithoutSuffix",
                                     [] { return withBundleName(QStringLiteral("Vantrel - Odd")); },
                                     QStringLiteral("odd")},
                    WriteFailureCase{"BundleNameIsOnlyTheSuffix",
                                     [] { return withBundleName(QStringLiteral(".workflow")); }, QStringLiteral("odd")},
                    WriteFailureCase{"BundleNameEscapesTheFolder",
                                     [] { return withBundleName(QStringLiteral("../Vantrel - Escaped.workflow")); },
                                     QStringLiteral("odd")}),
    [](const testing::TestParamInfo<WriteFailureCase> &info) { return info.param.name; });

// --- The shell command, run by a real shell ---------------------------------------------------

struct ShellCase {
    std::string name;
    QString urlID;
};

void PrintTo(const ShellCase &c, std::ostream *os)
{
    *os << c.name;
}

class ShellCommand : public testing::TestWithParam<ShellCase> {};

TEST_P(ShellCommand, HandsTheIdAndEverySelectedPathToTheApplicationUnchanged)
{
    if (!QFileInfo::exists(QStringLiteral("/bin/bash")))
        GTEST_SKIP() << "no /bin/bash";
    const QString command = QuickActionBundleWriter::shellCommand(GetParam().urlID);
    // A stand-in `vantrel` that prints what it was given, one argument per line.
    const QString script = QStringLiteral("vantrel() { printf '%s\\n' \"$@\"; }\n") + command;
    const QStringList selection{QStringLiteral("/Users/me/My Files/a b.txt"), QStringLiteral("/tmp/$HOME;*")};

    QProcess bash;
    bash.start(QStringLiteral("/bin/bash"),
               QStringList{QStringLiteral("-c"), script, QStringLiteral("bash")} + selection);
    ASSERT_TRUE(bash.waitForFinished(10000));
    EXPECT_EQ(bash.exitCode(), 0) << bash.readAllStandardError().constData();

    const QStringList expected =
        QStringList{QStringLiteral("open"), QStringLiteral("--workflow"), GetParam().urlID, QStringLiteral("--")} +
        selection;
    EXPECT_EQ(QString::fromUtf8(bash.readAllStandardOutput()), expected.join(QLatin1Char('\n')) + QLatin1Char('\n'))
        << str(command);
}

INSTANTIATE_TEST_SUITE_P(Ids, ShellCommand,
                         testing::Values(ShellCase{"CatalogueId", QStringLiteral("tag-category-selector")},
                                         ShellCase{"Spaces", QStringLiteral("two words")},
                                         ShellCase{"Quote", QStringLiteral("it's")},
                                         ShellCase{"Substitution", QStringLiteral("$(echo injected)")},
                                         ShellCase{"Separators", QStringLiteral("a;b|c&d")}),
                         [](const testing::TestParamInfo<ShellCase> &info) { return info.param.name; });

TEST(ShellCommand, CatalogueIdsAppearBare)
{
    EXPECT_EQ(QuickActionBundleWriter::shellCommand(QStringLiteral("smart-mover")),
              QStringLiteral("vantrel open --workflow smart-mover -- \"$@\""));
}

// --- Bundles Automator wrote ------------------------------------------------------------------

struct FixtureCase {
    std::string name;
    QString bundle;
    QString menuName;
    bool isFinderService;
    QStringList sendFileTypes;
    QStringList actionNames;
    QString firstClassName;
    // One parameter, checked on the first action that has it.
    QString parameter;
    QVariant parameterValue;
};

void PrintTo(const FixtureCase &c, std::ostream *os)
{
    *os << c.name;
}

class AutomatorFixture : public testing::TestWithParam<FixtureCase> {};

TEST_P(AutomatorFixture, ReadsMenuContextTypesAndActions)
{
    const QString root = QStringLiteral(VANTREL_FIXTURES_DIR "/automator-workflows/Karl-Horning");
    if (!QFileInfo(root).isDir())
        GTEST_SKIP() << "fixtures not found at " << str(root);
    const FixtureCase &c = GetParam();
    const QString path = root + QLatin1Char('/') + c.bundle;

    QString error;
    const std::optional<QuickActionBundle> bundle = QuickActionBundle::read(path, &error);
    ASSERT_TRUE(bundle.has_value()) << str(error);
    EXPECT_EQ(bundle->menuName, c.menuName);
    EXPECT_EQ(bundle->isFinderService, c.isFinderService);
    EXPECT_EQ(bundle->sendFileTypes, c.sendFileTypes);

    QStringList actionNames;
    for (const QuickActionBundle::Action &action : bundle->actions)
        actionNames.append(action.actionName);
    EXPECT_EQ(actionNames, c.actionNames);
    ASSERT_FALSE(bundle->actions.isEmpty());
    EXPECT_EQ(bundle->actions.first().className, c.firstClassName);

    QVariant found;
    for (const QuickActionBundle::Action &action : bundle->actions) {
        if (action.parameters.contains(c.parameter)) {
            found = action.parameters.value(c.parameter);
            break;
        }
    }
    EXPECT_EQ(found.typeId(), c.parameterValue.typeId()) << str(c.parameter);
    EXPECT_EQ(found, c.parameterValue) << str(c.parameter);
}

const QString changeCase = QStringLiteral("Rename Finder Items: Change Case");
const QString replaceText = QStringLiteral("Rename Finder Items: Replace Text");
const QString makeSequential = QStringLiteral("Rename Finder Items: Make Sequential");
const QString image = QStringLiteral("public.image");
const QString item = QStringLiteral("public.item");

INSTANTIATE_TEST_SUITE_P(
    KarlHorning, AutomatorFixture,
    testing::Values(
        FixtureCase{
            "FlipImagesHorizontally", QStringLiteral("flip-images-horizontally/Flip Images Horizontally.workflow"),
            QStringLiteral("Flip Images"), false, QStringList{image}, QStringList{QStringLiteral("Flip Images")},
            QStringLiteral("AMFlipImagesAction"), QStringLiteral("flipIndicator"), qlonglong(0)},
        FixtureCase{"NormaliseJpgExtensionNames",
                    QStringLiteral("normalise-jpg-extension-names/Normalise JPG Extension Names.workflow"),
                    QStringLiteral("Replace JPEG"), false, QStringList{item}, QStringList{changeCase, replaceText},
                    QStringLiteral("AMRenameFinderItemsAction"), QStringLiteral("renameType"), qlonglong(2)},
        FixtureCase{"NumberImagesSequentially",
                    QStringLiteral("number-images-sequentially/Number Images Sequentially.workflow"),
                    QStringLiteral("Make Images Sequential"), true, QStringList{item},
                    QStringList{makeSequential, changeCase, replaceText}, QStringLiteral("AMRenameFinderItemsAction"),
                    QStringLiteral("defaultName"), QStringLiteral("IMG")},
        FixtureCase{"NumberPagesSequentially",
                    QStringLiteral("number-pages-sequentially/Number Pages Sequentially.workflow"),
                    QStringLiteral("Make Pages Sequential"), true, QStringList{item},
                    QStringList{makeSequential, changeCase, replaceText}, QStringLiteral("AMRenameFinderItemsAction"),
                    QStringLiteral("minimumCount"), 4.0},
        FixtureCase{
            "ReverseImageFileNames", QStringLiteral("reverse-image-file-names/Reverse Image File Names.workflow"),
            QStringLiteral("Reverse Image File Names"), true, QStringList{image},
            QStringList{QStringLiteral("Sort Finder Items"), makeSequential, makeSequential, changeCase, replaceText},
            QStringLiteral("AMSortDiskItemsAction"), QStringLiteral("sortOrder"), qlonglong(1)}),
    [](const testing::TestParamInfo<FixtureCase> &info) { return info.param.name; });

// --- Bundles made by hand: what reads, and what is refused --------------------------------------

const QString bundleName = QStringLiteral("Hand Made.workflow");

QVariantMap finderService(const QVariantMap &extra = {})
{
    QVariantMap service{
        {QStringLiteral("NSMenuItem"), QVariantMap{{QStringLiteral("default"), QStringLiteral("Hand Made Item")}}},
        {QStringLiteral("NSMessage"), QStringLiteral("runWorkflowAsService")},
        {QStringLiteral("NSRequiredContext"),
         QVariantMap{{QStringLiteral("NSApplicationIdentifier"), QStringLiteral("com.apple.finder")}}},
        {QStringLiteral("NSSendFileTypes"), QStringList{QStringLiteral("public.folder")}},
    };
    for (auto it = extra.constBegin(); it != extra.constEnd(); ++it) {
        if (it.value().isValid())
            service.insert(it.key(), it.value());
        else
            service.remove(it.key());
    }
    return service;
}

QByteArray infoWith(const QVariant &services)
{
    return PropertyList::toXml(QVariantMap{{QStringLiteral("NSServices"), services}});
}

QByteArray documentWith(const QVariantMap &document)
{
    return PropertyList::toXml(document);
}

QVariantMap oneAction()
{
    return QVariantMap{
        {QStringLiteral("actions"),
         QVariantList{QVariantMap{
             {QStringLiteral("action"),
              QVariantMap{{QStringLiteral("Class Name"), QStringLiteral("AMFlipImagesAction")},
                          {QStringLiteral("ActionName"), QStringLiteral("Flip Images")},
                          {QStringLiteral("ActionParameters"), QVariantMap{{QStringLiteral("flipIndicator"), 1}}}}}}}}};
}

struct ReadableCase {
    std::string name;
    QByteArray info;
    QByteArray document;
    QString menuName;
    bool isFinderService;
    QStringList sendFileTypes;
    QList<QuickActionBundle::Action> actions;
};

void PrintTo(const ReadableCase &c, std::ostream *os)
{
    *os << c.name;
}

class HandMadeBundle : public testing::TestWithParam<ReadableCase> {};

TEST_P(HandMadeBundle, Reads)
{
    const ReadableCase &c = GetParam();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(bundleName);
    ASSERT_TRUE(writeBytes(path + QStringLiteral("/Contents/Info.plist"), c.info));
    ASSERT_TRUE(writeBytes(path + QStringLiteral("/Contents/document.wflow"), c.document));

    QString error;
    const std::optional<QuickActionBundle> bundle = QuickActionBundle::read(path, &error);
    ASSERT_TRUE(bundle.has_value()) << str(error);
    EXPECT_EQ(bundle->menuName, c.menuName);
    EXPECT_EQ(bundle->isFinderService, c.isFinderService);
    EXPECT_EQ(bundle->sendFileTypes, c.sendFileTypes);
    EXPECT_EQ(bundle->actions, c.actions);
}

const QuickActionBundle::Action flipAction{QStringLiteral("AMFlipImagesAction"), QStringLiteral("Flip Images"),
                                           QVariantMap{{QStringLiteral("flipIndicator"), qlonglong(1)}}};

INSTANTIATE_TEST_SUITE_P(
    Variants, HandMadeBundle,
    testing::Values(
        ReadableCase{"Xml",
                     infoWith(QVariantList{finderService()}),
                     documentWith(oneAction()),
                     QStringLiteral("Hand Made Item"),
                     true,
                     QStringList{QStringLiteral("public.folder")},
                     {flipAction}},
        ReadableCase{"BinaryPlists",
                     toBinary(QVariantMap{{QStringLiteral("NSServices"), QVariantList{finderService()}}}),
                     toBinary(oneAction()),
                     QStringLiteral("Hand Made Item"),
                     true,
                     QStringList{QStringLiteral("public.folder")},
                     {flipAction}},
        ReadableCase{"NoMenuItemFallsBackToTheFileName",
                     infoWith(QVariantList{finderService({{QStringLiteral("NSMenuItem"), QVariant()}})}),
                     documentWith(oneAction()),
                     QStringLiteral("Hand Made"),
                     true,
                     QStringList{QStringLiteral("public.folder")},
                     {flipAction}},
        ReadableCase{"NoActionsKeyGivesNoActions",
                     infoWith(QVariantList{finderService()}),
                     documentWith(QVariantMap{{QStringLiteral("AMDocumentVersion"), QStringLiteral("2")}}),
                     QStringLiteral("Hand Made Item"),
                     true,
                     QStringList{QStringLiteral("public.folder")},
                     {}},
        ReadableCase{"NoContextIsNotFinder",
                     infoWith(QVariantList{finderService({{QStringLiteral("NSRequiredContext"), QVariant()},
                                                          {QStringLiteral("NSSendFileTypes"), QVariant()}})}),
                     documentWith(oneAction()),
                     QStringLiteral("Hand Made Item"),
                     false,
                     QStringList(),
                     {flipAction}},
        ReadableCase{"OtherApplicationIsNotFinder",
                     infoWith(QVariantList{finderService({{QStringLiteral("NSRequiredContext"),
                                                           QVariantMap{{QStringLiteral("NSApplicationIdentifier"),
                                                                        QStringLiteral("com.apple.Preview")}}}})}),
                     documentWith(oneAction()),
                     QStringLiteral("Hand Made Item"),
                     false,
                     QStringList{QStringLiteral("public.folder")},
                     {flipAction}},
        ReadableCase{"ContextListNamingFinder",
                     infoWith(QVariantList{finderService(
                         {{QStringLiteral("NSRequiredContext"),
                           QVariantList{QVariantMap{{QStringLiteral("NSTextContent"), QStringLiteral("URL")}},
                                        QVariantMap{{QStringLiteral("NSApplicationIdentifier"),
                                                     QStringList{QStringLiteral("com.apple.Safari"),
                                                                 QStringLiteral("com.apple.finder")}}}}}})}),
                     documentWith(oneAction()),
                     QStringLiteral("Hand Made Item"),
                     true,
                     QStringList{QStringLiteral("public.folder")},
                     {flipAction}},
        ReadableCase{
            "ActionWithoutFields",
            infoWith(QVariantList{finderService()}),
            documentWith(QVariantMap{{QStringLiteral("actions"),
                                      QVariantList{QVariantMap{{QStringLiteral("action"),
                                                                QVariantMap{{QStringLiteral("Class Name"), 7}}}}}}}),
            QStringLiteral("Hand Made Item"),
            true,
            QStringList{QStringLiteral("public.folder")},
            {QuickActionBundle::Action{}}}),
    [](const testing::TestParamInfo<ReadableCase> &info) { return info.param.name; });

struct BrokenCase {
    std::string name;
    // Info.plist and document.wflow contents; a null array leaves the file out.
    QByteArray info;
    QByteArray document;
    QString expectedError;
};

void PrintTo(const BrokenCase &c, std::ostream *os)
{
    *os << c.name;
}

class BrokenBundle : public testing::TestWithParam<BrokenCase> {};

TEST_P(BrokenBundle, IsRefusedWithAClearError)
{
    const BrokenCase &c = GetParam();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(bundleName);
    ASSERT_TRUE(QDir().mkpath(path + QStringLiteral("/Contents")));
    if (!c.info.isNull()) {
        ASSERT_TRUE(writeBytes(path + QStringLiteral("/Contents/Info.plist"), c.info));
    }
    if (!c.document.isNull()) {
        ASSERT_TRUE(writeBytes(path + QStringLiteral("/Contents/document.wflow"), c.document));
    }

    QString error;
    EXPECT_FALSE(QuickActionBundle::read(path, &error).has_value());
    EXPECT_EQ(error, c.expectedError);
}

const QByteArray goodInfo = infoWith(QVariantList{finderService()});
const QByteArray goodDocument = documentWith(oneAction());
const QByteArray garbage("this is not a property list");

INSTANTIATE_TEST_SUITE_P(
    Cases, BrokenBundle,
    testing::Values(
        BrokenCase{"NoInfoPlist", QByteArray(), goodDocument,
                   QStringLiteral("Hand Made.workflow has no Contents/Info.plist")},
        BrokenCase{"GarbageInfoPlist", garbage, goodDocument,
                   QStringLiteral("Hand Made.workflow: Contents/Info.plist is not a property list")},
        BrokenCase{"EmptyInfoPlist", QByteArray(""), goodDocument,
                   QStringLiteral("Hand Made.workflow: Contents/Info.plist is not a property list")},
        BrokenCase{"InfoPlistHoldsAnArray", PropertyList::toXml(QVariantList{1}), goodDocument,
                   QStringLiteral("Hand Made.workflow: Contents/Info.plist doesn't hold a dictionary")},
        BrokenCase{"NoNSServices", PropertyList::toXml(QVariantMap{{QStringLiteral("CFBundleName"), 1}}), goodDocument,
                   QStringLiteral("Hand Made.workflow has no NSServices in Contents/Info.plist")},
        BrokenCase{"NSServicesIsADictionary", infoWith(finderService()), goodDocument,
                   QStringLiteral("Hand Made.workflow: NSServices in Contents/Info.plist is not an array")},
        BrokenCase{"NSServicesIsEmpty", infoWith(QVariantList{}), goodDocument,
                   QStringLiteral("Hand Made.workflow: NSServices in Contents/Info.plist is empty")},
        BrokenCase{"NSServicesHoldsAString", infoWith(QVariantList{QStringLiteral("service")}), goodDocument,
                   QStringLiteral("Hand Made.workflow: NSServices in Contents/Info.plist holds no service dictionary")},
        BrokenCase{"NoDocument", goodInfo, QByteArray(),
                   QStringLiteral("Hand Made.workflow has no Contents/document.wflow")},
        BrokenCase{"GarbageDocument", goodInfo, garbage,
                   QStringLiteral("Hand Made.workflow: Contents/document.wflow is not a property list")},
        BrokenCase{"ActionsIsADictionary", goodInfo,
                   documentWith(QVariantMap{{QStringLiteral("actions"), QVariantMap()}}),
                   QStringLiteral("Hand Made.workflow: \"actions\" in Contents/document.wflow is not an array")},
        BrokenCase{
            "SecondActionHasNoActionDictionary", goodInfo,
            documentWith(QVariantMap{
                {QStringLiteral("actions"), oneAction().value(QStringLiteral("actions")).toList() +
                                                QVariantList{QVariantMap{{QStringLiteral("isViewVisible"), 1}}}}}),
            QStringLiteral("Hand Made.workflow: action 2 in Contents/document.wflow has no \"action\" dictionary")}),
    [](const testing::TestParamInfo<BrokenCase> &info) { return info.param.name; });

TEST(BrokenBundle, PathThatIsNotAFolderIsRefused)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString missing = dir.filePath(QStringLiteral("Missing.workflow"));
    const QString file = dir.filePath(QStringLiteral("File.workflow"));
    ASSERT_TRUE(writeBytes(file, goodInfo));

    for (const QString &path : {missing, file}) {
        QString error;
        EXPECT_FALSE(QuickActionBundle::read(path, &error).has_value()) << str(path);
        EXPECT_EQ(error, path + QStringLiteral(" is not a bundle folder"));
    }
}

} // namespace
