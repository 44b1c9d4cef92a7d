#pragma once
#include <QList>
#include <QStringList>

#include "devices/TConfigTemplate.h"

class TCli;
class TRadioController;

/// tessera-cli config: exports a module's configuration as a template, applies a template to a
/// module, or lists what differs between them.
class TCliConfig
{
public:
    explicit TCliConfig(TCli& cli) : m_cli(cli) {}
    /// `arguments` follow "config": "export", "apply FILE" or "diff FILE".
    int Run(const QStringList& arguments, const QString& port, const QString& baud, TConfigTemplate::Options options);

private:
    int Export(const QString& port, const QString& baud, TConfigTemplate::Options options);
    int Apply(const QString& path, const QString& port, const QString& baud);
    int Diff(const QString& path, const QString& port, const QString& baud);
    /// Reads the template, then opens the module; null with the exit code (2 bad template, 3 no module).
    TRadioController* LoadAndOpen(const QString& path, const QString& port, const QString& baud, TConfigTemplate& configTemplate, int& exitCode);
    void PrintDifferences(const QList<TConfigTemplate::Difference>& differences, bool toErr);
    int Fail(const QString& text, int exitCode);

    TCli& m_cli;
};
