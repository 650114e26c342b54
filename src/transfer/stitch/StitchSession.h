#pragma once

#include "foundation/Session.h"
#include "transfer/stitch/StitchRunner.h"

#include <QDateTime>
#include <QHash>
#include <QJsonObject>

#include <variant>

// The Stitch sheet's state: the choices, the size estimate from the images'
// headers, and the run on its background task.
class StitchSession : public Session {
    Q_OBJECT
public:
    enum class Resolution { full, large, medium, small };
    static QList<Resolution> allResolutions();
    static QString toString(Resolution resolution);
    static std::optional<Resolution> resolutionFromString(const QString &raw);
    static QString label(Resolution resolution);
    static std::optional<int> cap(Resolution resolution);

    struct RunProgress {
        // No member initialisers: GCC can't use them in a variant inside the class.
        QString currentStep;
        int done;
        int total;
        QDateTime startedAt;
        bool operator==(const RunProgress &) const = default;
    };
    struct configuring {
        bool operator==(const configuring &) const = default;
    };
    struct running {
        RunProgress progress;
        bool operator==(const running &) const = default;
    };
    struct done {
        StitchRunner::Result result;
        bool operator==(const done &) const = default;
    };
    struct failed {
        QString message;
        bool operator==(const failed &) const = default;
    };
    using Phase = std::variant<running, done, failed, configuring>;

    StitchSession(SessionHost &host, QStringList sources, QObject *parent = nullptr);
    ~StitchSession() override;

    const QStringList &sources() const { return targets(); }
    const Phase &phase() const { return current; }

    StitchRunner::Mode mode() const { return chosenMode; }
    void setMode(StitchRunner::Mode value);
    StitchRunner::Layout layout() const { return chosenLayout; }
    void setLayout(StitchRunner::Layout value);
    QString outputBaseName() const { return baseName; }
    void setOutputBaseName(const QString &value);
    std::optional<QString> destinationURL() const { return destination; }
    void setDestinationURL(const std::optional<QString> &value);
    double spacing() const { return gap; }
    void setSpacing(double value);
    bool backgroundIsWhite() const { return white; }
    void setBackgroundIsWhite(bool value);
    Resolution resolution() const { return chosenResolution; }
    void setResolution(Resolution value);

    // The layout at full size, and after the resolution cap, from the cached sizes.
    QSize combinedSize() const;
    QSize scaledSize() const;
    bool isTooLarge() const;
    bool willDownscale() const;
    int unreadableCount() const;
    // The estimate lines of the sheet in image mode.
    QString estimateText() const;
    QString estimateNote() const;
    // "stitched-….pdf": the name the output will take.
    QString outputFileName() const;

    // The done screen's lines: "5 images", and the skipped files when there are any.
    static QString imagesLine(const StitchRunner::Result &result);
    static QString skippedLine(const StitchRunner::Result &result);
    // The phase as the headless run prints it.
    QJsonObject toJson() const override;
    QStringList describe() const override;

    // Starts the run, asking first when a file of that name is there.
    void start();
    // Stops a run; the sheet stays until it is closed.
    void cancel() override;

    QString title() const override;
    // mode, layout, resolution, spacing, backgroundIsWhite, outputBaseName, destinationURL. None is a
    // content field: the run changes no file it was given, only writes a new one made from them.
    QList<Field> fields() override;
    // Asks for the destination folder when none is set, then starts.
    std::optional<QString> perform() override;
    PhaseKind phaseKind() const override;

signals:
    void phaseChanged();

private:
    void setPhase(Phase phase);
    void readSizes();

    Phase current = configuring{};
    StitchRunner::Mode chosenMode = StitchRunner::Mode::pdf;
    StitchRunner::Layout chosenLayout = StitchRunner::Layout::vertical;
    QString baseName;
    std::optional<QString> destination;
    double gap = 0;
    bool white = false;
    Resolution chosenResolution = Resolution::full;
    QList<std::optional<QSize>> sizes;
};
