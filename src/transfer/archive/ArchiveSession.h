#pragma once

#include "foundation/Session.h"
#include "transfer/archive/ArchiveRunner.h"

#include <QDateTime>
#include <QJsonObject>

#include <variant>

// The Archive sheet's state: format, name and folder, the size estimate from the files' types, the run
// on its background task, and what is done with the archive and the originals afterwards.
class ArchiveSession : public Session {
    Q_OBJECT
public:
    struct RunProgress {
        // No member initialisers: GCC can't use them in a variant inside the class.
        QString currentStep;
        int sourceFileCount;
        qint64 sourceTotalBytes;
        QDateTime startedAt;
        // The archive's bytes so far, as the tool writes them.
        qint64 bytesWritten;
        bool operator==(const RunProgress &) const = default;
    };
    struct running {
        RunProgress progress;
        bool operator==(const running &) const = default;
    };
    struct done {
        ArchiveRunner::Result result;
        bool operator==(const done &) const = default;
    };
    struct failed {
        QString message;
        bool operator==(const failed &) const = default;
    };
    struct configuring {
        bool operator==(const configuring &) const = default;
    };
    using Phase = std::variant<running, done, failed, configuring>;

    // What the sources hold, by file type: the estimate's three piles.
    struct Totals {
        int fileCount = 0;
        qint64 textBytes = 0;
        qint64 compressedBytes = 0;
        qint64 otherBytes = 0;
        qint64 total() const { return textBytes + compressedBytes + otherBytes; }
        bool operator==(const Totals &) const = default;
    };

    static QString defaultCommentTemplate();

    ArchiveSession(SessionHost &host, QStringList sources, QObject *parent = nullptr);
    ~ArchiveSession() override;

    const QStringList &sources() const { return targets(); }
    const Phase &phase() const { return current; }

    ArchiveFormat format() const { return chosenFormat; }
    void setFormat(ArchiveFormat value);
    QString archiveBaseName() const { return baseName; }
    void setArchiveBaseName(const QString &value);
    std::optional<QString> destinationURL() const { return destination; }
    void setDestinationURL(const std::optional<QString> &value);
    bool deleteOriginalsAfter() const { return trashOriginals; }
    void setDeleteOriginalsAfter(bool value);
    bool annotateArchiveComment() const { return annotate; }
    void setAnnotateArchiveComment(bool value);
    QString commentTemplate() const { return templateText; }
    void setCommentTemplate(const QString &value);

    // The sources walked: a folder counts every file under it.
    static Totals walk(const QStringList &sources, std::stop_token stop = {});
    // Whether the sources are still being walked for the estimate.
    bool isMeasuring() const { return measuring; }
    const Totals &totals() const { return walked; }
    // The source total times the blend of the piles' ratios (text 0.3, already compressed 0.9, other 0.55).
    static qint64 estimate(const Totals &totals);
    qint64 estimatedArchiveBytes() const { return estimate(walked); }
    QString estimateText() const;
    static QString estimateNote();
    // "name.zip": the base name and the format's extension, which is never doubled.
    QString archiveFileName() const;
    // The archive's path once a folder is chosen.
    std::optional<QString> archiveURL() const;
    // Whether "Create archive" can be pressed: a folder, a name and a file.
    bool canStart() const;

    // The template with its tokens filled in for `result`, at `now`.
    static QString renderedComment(const QString &commentTemplate, const ArchiveRunner::Result &result,
                                   const QDateTime &now);
    QString renderedComment(const ArchiveRunner::Result &result) const;
    // "60%": the part of the source size the archive saved, or "—" without a source size.
    static QString ratioText(const ArchiveRunner::Result &result);

    QJsonObject toJson() const override;
    QStringList describe() const override;

    // Starts the run, asking first when an archive of that name is there.
    void start();
    // Stops a run; the sheet stays until it is closed.
    void cancel() override;
    // The post-archive toggles: the comment on the archive, the originals to the Trash. Only once done.
    void apply();

    QString title() const override;
    // format, archiveBaseName, destinationURL, commentTemplate, annotateArchiveComment, deleteOriginalsAfter.
    // None is a content field: the run only writes a new file made from the sources, and the one that
    // touches them, deleteOriginalsAfter, is off unless a script sets it, so defaults never change a file
    // the user has.
    QList<Field> fields() override;
    // Asks for the folder when none is set, starts, and applies the toggles once the archive is made.
    std::optional<QString> perform() override;
    PhaseKind phaseKind() const override;

signals:
    void phaseChanged();

private:
    void setPhase(Phase phase);
    QJsonObject command() const;
    static RunProgress progressFor(const Totals &totals, const QDateTime &startedAt);

    Phase current = configuring{};
    ArchiveFormat chosenFormat = ArchiveFormat::zip;
    QString baseName;
    std::optional<QString> destination;
    bool trashOriginals = false;
    bool annotate = true;
    QString templateText;
    Totals walked;
    bool measuring = true;
    bool startWhenMeasured = false;
    bool applyWhenDone = false;
    bool applied = false;
};
