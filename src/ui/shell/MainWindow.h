#pragma once

#include "app/AppState.h"
#include "ui/pages/WorkflowResultsView.h"

#include <QHash>
#include <QMainWindow>
#include <QPointer>

class BannerView;
class CategoryTaggingSheetView;
class CommentTemplateSheetView;
class ScanProgressCard;
class SingleTagSheetView;
class TextCommentToolsSheetView;
class StitchSheetView;

class QListWidget;
class QStackedWidget;

// The main window: the sidebar of destinations, the banner and the screens.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(AppState &state, QWidget *parent = nullptr);

    static QString label(AppState::Destination destination);
    static QString symbol(AppState::Destination destination);

    BannerView *banner() const { return bannerView; }
    QListWidget *sidebar() const { return destinations; }
    QWidget *currentScreen() const;
    ScanProgressCard *progressCard() const { return progress; }
    // The results window while a report is on show.
    WorkflowResultsView *resultsView() const { return results; }
    // The sheets on show, one per context at most.
    SingleTagSheetView *singleTagSheet() const;
    CategoryTaggingSheetView *categoryTaggingSheet() const;
    CommentTemplateSheetView *commentTemplateSheet() const;
    TextCommentToolsSheetView *textCommentToolsSheet() const;
    StitchSheetView *stitchSheet() const;
    void showAndRaise();

private:
    void followSelection();
    void presentReport();
    void presentSheets();

    QPointer<AppState> state;
    BannerView *bannerView;
    QListWidget *destinations;
    QStackedWidget *screens;
    ScanProgressCard *progress;
    QPointer<WorkflowResultsView> results;
    QPointer<SingleTagSheetView> singleTag;
    QPointer<CategoryTaggingSheetView> categoryTagging;
    QPointer<CommentTemplateSheetView> commentTemplates;
    QPointer<TextCommentToolsSheetView> textTools;
    QPointer<StitchSheetView> stitch;
};
