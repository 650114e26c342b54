#pragma once

#include "metadata/CategoryEditing.h"

#include <QPointer>
#include <QWidget>

#include <optional>

class AppState;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QStackedWidget;
class QWidget;

// The category library: the list on the left, the selected category's editor
// on the right, and the library's import, export and reset.
class CategoriesPage : public QWidget {
    Q_OBJECT
public:
    explicit CategoriesPage(AppState &state, QWidget *parent = nullptr);

    QListWidget *categoryList() const { return list; }
    QListWidget *tagList() const { return tags; }
    QLineEdit *newNameField() const { return newName; }
    QLineEdit *nameField() const { return nameEdit; }
    QLineEdit *tagField() const { return tagEdit; }
    QPushButton *button(const QString &objectName) const;
    QLabel *emptyTagsLabel() const { return noTags; }

private:
    void refreshList();
    void refreshEditor();
    void addCategory();
    bool saved(const std::optional<QString> &error);
    void renameSelected();
    void addTag();
    // True when the edit changed the category; a refusal goes to the banner.
    bool accepted(const CategoryEditing::Edit &edit);
    void removeTag(int index);
    void duplicateSelected();
    void deleteSelected();
    void resetLibrary();

    QPointer<AppState> state;
    QListWidget *list;
    QWidget *newForm;
    QLineEdit *newName;
    QStackedWidget *editor;
    QLineEdit *nameEdit;
    QLineEdit *tagEdit;
    QListWidget *tags;
    QLabel *noTags;
};
