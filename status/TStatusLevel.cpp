#include "status/TStatusLevel.h"

#include <QRegularExpression>

#include "status/TStatusLog.h"

namespace TStatusLevel {

namespace {
struct Rule {
    Level level;
    const char* pattern;   // case-insensitive, anywhere in the line
};
// level      pattern; the first rule that matches decides
const Rule kRules[] = {
    {Error,    "\\berror\\b"},
    {Warning,  "\\bwarning\\b"},
    {Protocol, ":(command|result):|:<<<|:[a-z][a-z0-9_-]*: "},
};

// level     name
const char* const kNames[LevelCount] = {"Errors", "Warnings", "Info", "Protocol"};
}

QString Name(Level level)
{
    return level >= 0 && level < LevelCount ? QString::fromLatin1(kNames[level]) : QString();
}

Level Of(const QString& text)
{
    static const QList<QPair<Level, QRegularExpression>> compiled = [] {
        QList<QPair<Level, QRegularExpression>> list;
        for (const Rule& rule : kRules)
            list.append({rule.level, QRegularExpression(QString::fromLatin1(rule.pattern), QRegularExpression::CaseInsensitiveOption)});
        return list;
    }();
    if (TStatusLog::IsSeparator(text.section(QLatin1Char(';'), 2)) || TStatusLog::IsSeparator(text))
        return Protocol;
    for (const auto& rule : compiled)
        if (rule.second.match(text).hasMatch())
            return rule.first;
    return Info;
}

bool MentionsPort(const QString& text, const QString& port)
{
    if (port.isEmpty())
        return false;
    for (int at = text.indexOf(port); at >= 0; at = text.indexOf(port, at + 1)) {
        const int end = at + port.size();
        if (end >= text.size() || !text.at(end).isLetterOrNumber())
            return true;
    }
    return false;
}

}
