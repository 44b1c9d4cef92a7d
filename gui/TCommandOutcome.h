#pragma once
#include <QString>

/// What a page's command came to, in the plain words its result line shows, and how it is coloured.
/// Failures are read from the controller's last error text, which the layers below already settle on.
class TCommandOutcome
{
public:
    enum Kind {
        None,         ///< nothing to tell
        Running,      ///< a command is on its way
        Ok,           ///< every command of the action succeeded
        ModuleError,  ///< the module answered with a status other than OK
        Timeout,      ///< no answer within the link's time-out
        Lost,         ///< the module's port went away
        Busy,         ///< refused before sending: another request is still waiting
        Invalid,      ///< refused before sending: a field holds an invalid value
        NoDevice,     ///< refused before sending: no module selected
        LocalError,   ///< the studio could not build or send the request
    };

    TCommandOutcome() = default;
    TCommandOutcome(Kind kind, const QString& text) : m_kind(kind), m_text(text) {}

    static TCommandOutcome Started(const QString& what);
    /// The time of day as outcomes give it ("hh:mm:ss").
    static QString Now();
    /// "OK - " and what was done, with the time it ended ("hh:mm:ss").
    static TCommandOutcome Success(const QString& what, const QString& time);
    /// From a controller's LastError(); `timeoutMs` is the link's response time-out, `portLost`
    /// whether the link saw its port go away (a request on a closed port fails as a transmit error).
    static TCommandOutcome Failure(const QString& lastError, int timeoutMs, bool portLost = false);
    static TCommandOutcome Refused(Kind kind, const QString& reason);

    Kind Type() const { return m_kind; }
    QString Text() const { return m_text; }
    bool IsFailure() const { return m_kind > Ok; }
    /// Whether values the page showed before may be wrong now (the module did not answer or is gone).
    bool LeavesValuesInDoubt() const { return m_kind == Timeout || m_kind == Lost; }
    /// "ok", "error", "busy" or "info": the style sheet colours the result line by it.
    QString StyleClass() const;

private:
    Kind m_kind = None;
    QString m_text;
};
