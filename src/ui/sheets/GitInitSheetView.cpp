#include "ui/sheets/GitInitSheetView.h"

#include "platform/Paths.h"

#include <QFontDatabase>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

QLabel *wrapped(const char *name, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setObjectName(QString::fromLatin1(name));
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    return label;
}

QString logText(const GitLog &log)
{
    QStringList lines;
    for (const LogEntry &entry : log)
        lines.append(entry.shown());
    return lines.join(QLatin1Char('\n'));
}

} // namespace

GitInitSheetView::GitInitSheetView(GitInitSession &model, QWidget *parent)
    : SheetDialog(model.title(), parent), session(&model), pages(new QStackedWidget(this)),
      folder(wrapped("folderLabel", this)), kind(wrapped("kindLabel", this)), plan(wrapped("planLabel", this)),
      problem(wrapped("problemLabel", this)), ignoreEditor(new QPlainTextEdit(this)),
      messageEditor(new QLineEdit(this)), remoteEditor(new QLineEdit(this)), step(wrapped("stepLabel", this)),
      logView(new QPlainTextEdit(this)), outcome(wrapped("outcomeLabel", this))
{
    setMinimumSize(640, 560);
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);

    auto *setup = new QWidget(pages);
    auto *setupLayout = new QVBoxLayout(setup);
    setupLayout->addWidget(folder);
    setupLayout->addWidget(kind);
    plan->setFont(fixed);
    setupLayout->addWidget(plan);
    problem->setStyleSheet(QStringLiteral("color: #B91C1C;"));
    setupLayout->addWidget(problem);
    setupLayout->addWidget(new QLabel(QStringLiteral(".gitignore"), setup));
    ignoreEditor->setObjectName(QStringLiteral("ignoreEditor"));
    ignoreEditor->setFont(fixed);
    ignoreEditor->setLineWrapMode(QPlainTextEdit::NoWrap);
    setupLayout->addWidget(ignoreEditor, 1);
    auto *form = new QFormLayout;
    messageEditor->setObjectName(QStringLiteral("commitMessageEditor"));
    remoteEditor->setObjectName(QStringLiteral("remoteURLEditor"));
    remoteEditor->setPlaceholderText(QStringLiteral("https://github.com/you/repo.git"));
    form->addRow(QStringLiteral("Commit message"), messageEditor);
    form->addRow(QStringLiteral("Remote URL"), remoteEditor);
    setupLayout->addLayout(form);

    auto *running = new QWidget(pages);
    auto *runningLayout = new QVBoxLayout(running);
    runningLayout->addWidget(step);
    logView->setObjectName(QStringLiteral("logView"));
    logView->setReadOnly(true);
    logView->setFont(fixed);
    runningLayout->addWidget(logView, 1);
    runningLayout->addWidget(outcome);

    pages->addWidget(setup);
    pages->addWidget(running);
    content()->addWidget(pages, 1);
    subtitle()->setText(GitInitSession::purpose());

    connect(ignoreEditor, &QPlainTextEdit::textChanged, this, [this] {
        if (session)
            session->setIgnoreTemplate(ignoreEditor->toPlainText());
    });
    connect(messageEditor, &QLineEdit::textChanged, this, [this](const QString &text) {
        if (session)
            session->setCommitMessage(text);
    });
    connect(remoteEditor, &QLineEdit::textChanged, this, [this](const QString &text) {
        if (session)
            session->setRemoteURL(text);
    });
    connect(applyButton(), &QPushButton::clicked, this, [this] {
        if (!session)
            return;
        if (std::holds_alternative<GitInitSession::configuring>(session->phase()))
            session->start();
        else
            session->close();
    });
    connect(session, &GitInitSession::changed, this, &GitInitSheetView::refresh);
    refresh();
}

void GitInitSheetView::refresh()
{
    if (!session)
        return;
    const auto &phase = session->phase();
    folder->setText(Paths::displayPath(session->folder()));
    // Only what differs is put back, so the cursor of the field being typed in stays where it is.
    if (ignoreEditor->toPlainText() != session->ignoreTemplate())
        ignoreEditor->setPlainText(session->ignoreTemplate());
    if (messageEditor->text() != session->commitMessage())
        messageEditor->setText(session->commitMessage());
    if (remoteEditor->text() != session->remoteURL())
        remoteEditor->setText(session->remoteURL());

    if (const auto *setting = std::get_if<GitInitSession::configuring>(&phase)) {
        pages->setCurrentIndex(0);
        kind->setText(setting->plan.detectedKind
                          ? QStringLiteral("Project kind: %1").arg(ProjectKinds::toString(*setting->plan.detectedKind))
                          : QStringLiteral("No project kind found: common ignores only."));
        plan->setText(session->planLines().join(QLatin1Char('\n')));
        problem->hide();
        applyButton()->setText(QStringLiteral("Init Repo"));
        applyButton()->setEnabled(!session->commitMessage().trimmed().isEmpty());
        cancelButton()->show();
        return;
    }
    // A folder that was refused never ran: its reason stands alone on the first page.
    const auto *failure = std::get_if<GitInitSession::failed>(&phase);
    if (failure && session->log().isEmpty()) {
        pages->setCurrentIndex(0);
        kind->clear();
        plan->clear();
        problem->setText(failure->message);
        problem->show();
        ignoreEditor->setEnabled(false);
        messageEditor->setEnabled(false);
        remoteEditor->setEnabled(false);
        applyButton()->setText(QStringLiteral("Done"));
        applyButton()->setEnabled(true);
        cancelButton()->hide();
        return;
    }
    pages->setCurrentIndex(1);
    const QString text = logText(session->log());
    if (logView->toPlainText() != text)
        logView->setPlainText(text);
    if (const auto *run = std::get_if<GitInitSession::executing>(&phase)) {
        step->setText(run->progress.step);
        outcome->clear();
        applyButton()->setEnabled(false);
        cancelButton()->setEnabled(false);
        return;
    }
    step->clear();
    outcome->setStyleSheet(failure ? QStringLiteral("color: #B91C1C;") : QString());
    outcome->setText(failure ? failure->message : QString());
    applyButton()->setText(QStringLiteral("Done"));
    applyButton()->setEnabled(true);
    cancelButton()->hide();
}

void GitInitSheetView::reject()
{
    // The run takes seconds and isn't cut short: the sheet stays until it ends.
    if (session && std::holds_alternative<GitInitSession::executing>(session->phase()))
        return;
    SheetDialog::reject();
}

void GitInitSheetView::cancelSheet()
{
    if (session)
        session->close();
}
