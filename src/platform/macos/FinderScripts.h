#pragma once

#include <QString>
#include <QStringList>

// The command lines the macOS backend runs, kept apart so they can be checked
// on any system.
namespace FinderScripts {

// Escapes a value for an AppleScript string literal: backslashes doubled first,
// then a backslash before each double quote. Nothing else is touched.
QString escape(const QString &value);
// The script that sets a file's Finder comment.
QString setCommentScript(const QString &path, const QString &comment);
// osascript's program and arguments for that script.
QString osascriptProgram();
QStringList osascriptArguments(const QString &script);

} // namespace FinderScripts
