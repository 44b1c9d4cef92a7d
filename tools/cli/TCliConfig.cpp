#include "tools/cli/TCliConfig.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <memory>

#include "devices/TRadioController.h"
#include "tools/cli/TCli.h"

namespace {
QJsonArray ToJson(const QList<TConfigTemplate::Difference>& differences)
{
    QJsonArray list;
    for (const TConfigTemplate::Difference& d : differences)
        list.append(QJsonObject{{QStringLiteral("Setting"), d.setting}, {QStringLiteral("Field"), d.field},
                                {QStringLiteral("Template"), d.templateValue}, {QStringLiteral("Module"), d.moduleValue}});
    return list;
}
}

int TCliConfig::Fail(const QString& text, int exitCode)
{
    m_cli.m_err << text << "\n";
    m_cli.m_err.flush();
    return exitCode;
}

int TCliConfig::Run(const QStringList& arguments, const QString& port, const QString& baud, TConfigTemplate::Options options)
{
    const QString action = arguments.value(0);
    if (action != QLatin1String("export") && action != QLatin1String("apply") && action != QLatin1String("diff"))
        return m_cli.Usage(QStringLiteral("config wants export, apply FILE or diff FILE"));
    if (port.isEmpty())
        return m_cli.Usage(QStringLiteral("config %1 needs --port").arg(action));
    if (action == QLatin1String("export"))
        return Export(port, baud, options);
    if (arguments.size() < 2)
        return m_cli.Usage(QStringLiteral("config %1 needs a template file").arg(action));
    return action == QLatin1String("apply") ? Apply(arguments.at(1), port, baud) : Diff(arguments.at(1), port, baud);
}

TRadioController* TCliConfig::LoadAndOpen(const QString& path, const QString& port, const QString& baud, TConfigTemplate& configTemplate, int& exitCode)
{
    // A template that cannot be read sends nothing, so the module is not even opened.
    if (!configTemplate.Load(path)) {
        exitCode = Fail(configTemplate.ErrorText(), TCli::ExitUsage);
        return nullptr;
    }
    TRadioController* controller = m_cli.OpenController(port, baud);
    exitCode = controller ? TCli::ExitOk : TCli::ExitNoModule;
    return controller;
}

void TCliConfig::PrintDifferences(const QList<TConfigTemplate::Difference>& differences, bool toErr)
{
    QTextStream& stream = toErr ? m_cli.m_err : m_cli.m_out;
    for (const TConfigTemplate::Difference& d : differences)
        stream << d.setting << " " << d.field << ": template " << d.templateValue << ", module " << d.moduleValue << "\n";
    stream.flush();
}

int TCliConfig::Export(const QString& port, const QString& baud, TConfigTemplate::Options options)
{
    std::unique_ptr<TRadioController> controller(m_cli.OpenController(port, baud));
    if (!controller)
        return TCli::ExitNoModule;
    TConfigTemplate configTemplate;
    if (!configTemplate.Export(*controller, options))
        return Fail(configTemplate.ErrorText(), TCli::ExitCommandFailed);
    for (const QString& setting : configTemplate.Skipped())
        m_cli.m_err << "info - left out " << setting << ": the module does not support reading it\n";
    m_cli.m_err.flush();
    m_cli.m_out << configTemplate.ToJson();
    m_cli.m_out.flush();
    return TCli::ExitOk;
}

int TCliConfig::Apply(const QString& path, const QString& port, const QString& baud)
{
    TConfigTemplate configTemplate;
    int exitCode = TCli::ExitOk;
    std::unique_ptr<TRadioController> controller(LoadAndOpen(path, port, baud, configTemplate, exitCode));
    if (!controller)
        return exitCode;
    const bool ok = configTemplate.Apply(*controller);
    if (m_cli.m_json) {
        const QString result = ok ? QStringLiteral("OK")
                               : !configTemplate.RefusedSetting().isEmpty() ? QStringLiteral("Refused")
                               : !configTemplate.Differences().isEmpty()   ? QStringLiteral("Differs")
                                                                            : QStringLiteral("Error");
        const QJsonObject report{{QStringLiteral("Result"), result},
                                 {QStringLiteral("Sent"), QJsonArray::fromStringList(configTemplate.Sent())},
                                 {QStringLiteral("Refused"), configTemplate.RefusedSetting()},
                                 {QStringLiteral("Error"), configTemplate.ErrorText()},
                                 {QStringLiteral("Differences"), ToJson(configTemplate.Differences())}};
        m_cli.m_out << QJsonDocument(report).toJson(QJsonDocument::Compact) << "\n";
        m_cli.m_out.flush();
        return ok ? TCli::ExitOk : TCli::ExitCommandFailed;
    }
    for (const QString& setting : configTemplate.Sent())
        m_cli.m_out << "info - sent " << setting << "\n";
    m_cli.m_out.flush();
    if (!ok) {
        PrintDifferences(configTemplate.Differences(), true);
        return Fail(configTemplate.ErrorText(), TCli::ExitCommandFailed);
    }
    m_cli.m_out << "info - read back: the module matches the template (" << configTemplate.Sent().size() << " settings)\n";
    m_cli.m_out.flush();
    return TCli::ExitOk;
}

int TCliConfig::Diff(const QString& path, const QString& port, const QString& baud)
{
    TConfigTemplate configTemplate;
    int exitCode = TCli::ExitOk;
    std::unique_ptr<TRadioController> controller(LoadAndOpen(path, port, baud, configTemplate, exitCode));
    if (!controller)
        return exitCode;
    QList<TConfigTemplate::Difference> differences;
    if (!configTemplate.Compare(*controller, differences))
        return Fail(configTemplate.ErrorText(), TCli::ExitCommandFailed);
    if (m_cli.m_json)
        m_cli.m_out << QJsonDocument(ToJson(differences)).toJson(QJsonDocument::Compact) << "\n";
    else if (differences.isEmpty())
        m_cli.m_out << "info - the module matches the template\n";
    PrintDifferences(m_cli.m_json ? QList<TConfigTemplate::Difference>() : differences, false);
    return differences.isEmpty() ? TCli::ExitOk : TCli::ExitCommandFailed;
}
