#include <QApplication>
#include <QColor>
#include <QRegularExpression>
#include <QtTest>

#include "TestEnvironment.h"
#include "app/TThemes.h"

namespace {
/// Relative luminance after WCAG 2.x.
double Luminance(const QColor& colour)
{
    auto channel = [](double c) { return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); };
    return 0.2126 * channel(colour.redF()) + 0.7152 * channel(colour.greenF()) + 0.0722 * channel(colour.blueF());
}

double Contrast(const QColor& a, const QColor& b)
{
    const double la = Luminance(a);
    const double lb = Luminance(b);
    return (qMax(la, lb) + 0.05) / (qMin(la, lb) + 0.05);
}

QString Declared(const QString& declarations, const QString& property)
{
    // "color" alone, not the end of "selection-color" or "background-color"
    const QRegularExpression re(QStringLiteral("(?:^|[;\\s])") + QRegularExpression::escape(property) + QStringLiteral("\\s*:\\s*([^;]+)"));
    const QRegularExpressionMatch match = re.match(declarations);
    return match.hasMatch() ? match.captured(1).trimmed() : QString();
}
}

class TestThemes : public QObject
{
    Q_OBJECT
private slots:
    void contrast_formulaOfWcag()
    {
        QCOMPARE(qRound(Contrast(Qt::black, Qt::white) * 100), 2100);
        QCOMPARE(qRound(Contrast(QColor("#767676"), Qt::white) * 100), 454);   // the lightest grey that passes on white
        QVERIFY(Contrast(QColor("#777777"), Qt::white) < 4.5);
    }

    void contrast_everyTextOnItsBackground_data()
    {
        QTest::addColumn<QString>("theme");
        for (const QString& name : TThemes::Names())
            QTest::newRow(qPrintable(name)) << name;
    }
    void contrast_everyTextOnItsBackground()
    {
        QFETCH(QString, theme);
        const QString sheet = TThemes::StyleSheet(theme);
        QVERIFY(!sheet.isEmpty());
        QVERIFY2(!sheet.contains(QLatin1Char('@')), "a palette word was left in the sheet");
        const QRegularExpression blocks(QStringLiteral("([^{}]+)\\{([^}]*)\\}"));
        int pairs = 0;
        QStringList focused;
        for (auto it = blocks.globalMatch(sheet); it.hasNext();) {
            const QRegularExpressionMatch block = it.next();
            const QString selector = block.captured(1).trimmed();
            const QString declarations = block.captured(2);
            if (selector.contains(QLatin1String(":focus")) && !Declared(declarations, QStringLiteral("border")).isEmpty())
                focused << selector;
            for (const auto& property : {qMakePair(QStringLiteral("color"), QStringLiteral("background")),
                                         qMakePair(QStringLiteral("selection-color"), QStringLiteral("selection-background-color"))}) {
                const QString text = Declared(declarations, property.first);
                if (text.isEmpty())
                    continue;
                QString background = Declared(declarations, property.second);
                if (background.isEmpty() && property.first == QLatin1String("color"))
                    background = Declared(declarations, QStringLiteral("background-color"));
                QVERIFY2(!background.isEmpty(), qPrintable(selector + QStringLiteral(": ") + property.first + QStringLiteral(" without its background")));
                const QColor fg(text);
                const QColor bg(background);
                QVERIFY2(fg.isValid() && bg.isValid(), qPrintable(selector + QStringLiteral(": ") + text + QStringLiteral(" on ") + background));
                const double ratio = Contrast(fg, bg);
                QVERIFY2(ratio >= 4.5, qPrintable(QStringLiteral("%1: %2 on %3 is %4:1").arg(selector, text, background).arg(ratio, 0, 'f', 2)));
                ++pairs;
            }
        }
        QVERIFY2(pairs >= 25, qPrintable(QString::number(pairs)));
        // Visible focus: the focused control gets its own border.
        for (const char* control : {"QPushButton:focus", "QLineEdit:focus", "QComboBox:focus", "QCheckBox:focus", "QTreeView:focus",
                                    "QListView:focus", "QPushButton#SectionCtrlButton:focus"}) {
            bool found = false;
            for (const QString& selector : qAsConst(focused))
                found = found || selector.split(QLatin1Char(',')).contains(QString::fromLatin1(control))
                        || selector.contains(QRegularExpression(QStringLiteral("(^|,\\s*)") + QRegularExpression::escape(QString::fromLatin1(control)) + QStringLiteral("\\s*(,|$)")));
            QVERIFY2(found, control);
        }
    }
};

TESSERA_TEST_MAIN_WITH(QApplication, TestThemes)
#include "tst_themes.moc"
