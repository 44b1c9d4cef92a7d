#include "gui/pages/TRegTablePage.h"

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>

#include "devices/TRegTable.h"
#include "gui/TGuiItemList.h"

namespace {
// row key        row name (values typed as lists: "868100000, 868300000")
const char* const kLists[][2] = {
    {"Frequencies", "Frequencies"},
    {"BitRates",    "Bit Rates"},
    {"Deviations",  "Deviations"},
    {"Bandwidths",  "Rx Bandwidths"},
};
constexpr int kHeaderMinimumHeightPx = 260;

/// Positive numbers separated by commas or blanks; false with the first one that is not.
bool ParseList(const QString& text, QList<double>& values, QString& bad)
{
    static const QRegularExpression separators(QStringLiteral("[,;\\s]+"));
    return TRegTable::ParseValues(text.split(separators, Qt::SkipEmptyParts), values, bad);
}
}

TRegTablePage::TRegTablePage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    m_values = &AddGroup(QStringLiteral("Radio Values"),
                         {QStringLiteral("GuiName:Chip;GuiType:ComboBox;Key:Chip;Value:SX1276;ValueList:SX1272,SX1276,SX1280"),
                          QStringLiteral("GuiName:Frequencies;GuiType:LineEdit;Key:Frequencies;Value:868100000, 868300000, 868500000;Unit:Hz"),
                          QStringLiteral("GuiName:Bit Rates;GuiType:LineEdit;Key:BitRates;Value:50000;Unit:b/s"),
                          QStringLiteral("GuiName:Deviations;GuiType:LineEdit;Key:Deviations;Value:25000;Unit:Hz"),
                          QStringLiteral("GuiName:Rx Bandwidths;GuiType:LineEdit;Key:Bandwidths;Value:100000;Unit:Hz")});
    AddButton(QStringLiteral("Generate"), QStringLiteral("write the register tables"), [this] { Build(); });

    AddGroup(QStringLiteral("C Header"), {});
    m_header = new QPlainTextEdit(this);
    m_header->setReadOnly(true);
    m_header->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_header->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_header->setAccessibleName(QStringLiteral("C Header"));
    m_header->setMinimumHeight(kHeaderMinimumHeightPx);
    AddToGroup(m_header);
    AddButton(QStringLiteral("Copy"), QStringLiteral("copy the header to the clipboard"), [this] {
        QApplication::clipboard()->setText(m_header->toPlainText());
        SetActionOutcome(TCommandOutcome::Success(QStringLiteral("copied the header to the clipboard"), TCommandOutcome::Now()));
    });
    AddButton(QStringLiteral("Save..."), QStringLiteral("save the header as a file"), [this] {
        const QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Save Register Tables"), QStringLiteral("regtable.h"),
                                                          QStringLiteral("C Headers (*.h)"));
        if (!path.isEmpty())
            Save(path);
    });
    Finish();
}

bool TRegTablePage::Generate()
{
    return RunAction(Button(QStringLiteral("Generate")), QStringLiteral("write the register tables"), [this] { Build(); });
}

bool TRegTablePage::SaveHeader(const QString& path)
{
    return RunAction(Button(QStringLiteral("Save...")), QStringLiteral("save the header as a file"), [this, &path] { Save(path); });
}

void TRegTablePage::Build()
{
    const TKeyValueList values = m_values->ReadKeyValues();
    TRegTable::Chip chip;
    if (!TRegTable::ParseChip(values.Value(QStringLiteral("Chip")), chip)) {
        SetActionOutcome(TCommandOutcome(TCommandOutcome::Invalid, QStringLiteral("error - choose a chip")));
        return;
    }
    QList<double> lists[4];
    for (int i = 0; i < 4; ++i) {
        QString bad;
        if (!ParseList(values.Value(QLatin1String(kLists[i][0])), lists[i], bad)) {
            SetActionOutcome(TCommandOutcome(TCommandOutcome::Invalid,
                                             QStringLiteral("error - %1: \"%2\" is not a positive number").arg(QLatin1String(kLists[i][1]), bad)));
            return;
        }
    }
    if (lists[0].isEmpty() && lists[1].isEmpty() && lists[2].isEmpty() && lists[3].isEmpty()) {
        SetActionOutcome(TCommandOutcome(TCommandOutcome::Invalid, QStringLiteral("error - enter at least one frequency, bit rate, deviation or bandwidth")));
        return;
    }
    QString error;
    m_header->setPlainText(TRegTable(chip).Header(lists[0], lists[1], lists[2], lists[3], &error));
    if (!error.isEmpty())
        SetActionOutcome(TCommandOutcome(TCommandOutcome::LocalError, QStringLiteral("error - ") + error));
    else
        SetActionOutcome(TCommandOutcome::Success(QStringLiteral("wrote the register tables"), TCommandOutcome::Now()));
}

void TRegTablePage::Save(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(m_header->toPlainText().toUtf8()) < 0) {
        SetActionOutcome(TCommandOutcome(TCommandOutcome::LocalError, QStringLiteral("error - couldn't write %1").arg(path)));
        return;
    }
    SetActionOutcome(TCommandOutcome::Success(QStringLiteral("saved the header as %1").arg(QFileInfo(path).fileName()), TCommandOutcome::Now()));
}
