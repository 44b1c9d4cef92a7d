#pragma once
#include <QString>

/// The kind of a status line, for the status window's filter: errors, warnings, protocol traffic
/// (commands, results, records, raw messages, the line between commands) and everything else (info).
namespace TStatusLevel {

enum Level { Error, Warning, Info, Protocol, LevelCount };

/// "Errors", "Warnings", "Info", "Protocol".
QString Name(Level level);
/// The level of a line's text (with or without its date and time in front).
Level Of(const QString& text);
/// Whether the line mentions `port` as a whole name ("/dev/pts/1" is not in "/dev/pts/12").
bool MentionsPort(const QString& text, const QString& port);

}
