#pragma once

#include "foundation/Session.h"
#include "ui/sheets/SheetDialog.h"

#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>

class AppState;
class MainWindow;

// Shows each session the state holds in the view its row names, and dismisses the view once the
// session is gone. A new kind of sheet is one row here.
class SheetPresenter : public QObject {
    Q_OBJECT
public:
    SheetPresenter(AppState &state, MainWindow &window);

    // The view on show of a kind, or none.
    template <typename View> View *find() const
    {
        for (const Presented &presented : shown) {
            if (auto *view = qobject_cast<View *>(presented.view.data()))
                return view;
        }
        return nullptr;
    }

    // Brings the views in step with the state's sessions.
    void present();

private:
    using Make = std::function<SheetDialog *(Session &session, AppState &state, QWidget *parent)>;
    struct Row {
        const QMetaObject *kind;
        Make make;
    };
    struct Presented {
        Session *session; // compared only: the object may already be on its way out
        QPointer<SheetDialog> view;
    };
    template <typename S, typename Make> void addRow(Make make)
    {
        rows.append({&S::staticMetaObject, [make](Session &session, AppState &state, QWidget *parent) {
                         return make(static_cast<S &>(session), state, parent);
                     }});
    }

    QPointer<AppState> state;
    MainWindow *window;
    QList<Row> rows;
    QList<Presented> shown;
};
