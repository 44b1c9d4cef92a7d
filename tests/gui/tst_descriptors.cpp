#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QSignalSpy>
#include <QVBoxLayout>
#include <QtTest>

#include "TestEnvironment.h"
#include "gui/TCheckButtonBox.h"
#include "gui/TFieldCheck.h"
#include "gui/TOverlayEditBox.h"
#include "gui/TGuiItemList.h"
#include "gui/pages/TLayoutParams.h"
#include "gui/TRadioButtonBox.h"
#include "gui/TSlider.h"
#include "gui/TSpinControl.h"
#include "settings/TSettings.h"

namespace {
constexpr int kLabelWidth = 150;
constexpr int kEditorWidth = 200;

// A page-like widget with one group of rows.
struct Rows
{
    QWidget page;
    QVBoxLayout* layout = new QVBoxLayout(&page);
    TGuiItemList items;

    explicit Rows(const QStringList& descriptors, bool separators = false)
    {
        items.BuildItems(descriptors, layout, kLabelWidth, kEditorWidth, separators);
    }
    QString Text(const QString& key) const
    {
        if (auto* edit = qobject_cast<QLineEdit*>(items.FindItem(key)))
            return edit->text();
        return QStringLiteral("<no LineEdit>");
    }
};
}

class TestDescriptors : public QObject
{
    Q_OBJECT
private slots:
    void fieldLookup_firstFieldContainingTheKey_data()
    {
        QTest::addColumn<QString>("descriptor");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("found");
        QTest::addColumn<QString>("value");
        QTest::newRow("MinValue before Value") << "GuiName:X;GuiType:SpinBox;MinValue:1;Value:5" << "Value:" << true << "1";
        QTest::newRow("Value before MinValue") << "GuiName:X;GuiType:SpinBox;Value:5;MinValue:1" << "Value:" << true << "5";
        QTest::newRow("absent") << "GuiName:X;GuiType:SpinBox;MinValue:1" << "MaxValue:" << false << "";
        QTest::newRow("ValueList is no Value") << "GuiName:X;ValueList:a,b" << "Value:" << false << "";
        QTest::newRow("inside a field") << "GuiName:X;xKey:DevEUI" << "Key:" << true << "DevEUI";
        QTest::newRow("colon in the value") << "GuiName:3 : Alarm;GuiType:Label" << "GuiName:" << true << "3 : Alarm";
        QTest::newRow("empty value") << "GuiName:;GuiType:Label" << "GuiName:" << true << "";
    }
    void fieldLookup_firstFieldContainingTheKey()
    {
        QFETCH(QString, descriptor);
        QFETCH(QString, key);
        QFETCH(bool, found);
        QFETCH(QString, value);
        QString read = QStringLiteral("untouched");
        QCOMPARE(TGuiItemList::ReadField(descriptor, key, &read), found);
        QCOMPARE(read, found ? value : QStringLiteral("untouched"));
    }

    void build_initialValueReadBack_data()
    {
        QTest::addColumn<QString>("descriptor");
        QTest::addColumn<QString>("value");
        QTest::newRow("SpinBox MinValue first") << "GuiName:X;GuiType:SpinBox;MinValue:1;Value:5;MaxValue:10;Key:K" << "1";
        QTest::newRow("SpinBox Value first") << "GuiName:X;GuiType:SpinBox;Key:K;Value:5;MinValue:1;MaxValue:10" << "5";
        QTest::newRow("SpinBox without Value") << "GuiName:X;GuiType:SpinBox;Key:K;MinValue:3;MaxValue:9" << "3";
        QTest::newRow("SpinBox hex") << "GuiName:X;GuiType:SpinBox;Key:K;Value:0x1f;MinValue:0;MaxValue:255" << "31";
        QTest::newRow("SpinBox octal") << "GuiName:X;GuiType:SpinBox;Key:K;Value:010;MinValue:0;MaxValue:255" << "8";
        QTest::newRow("SpinBox no number") << "GuiName:X;GuiType:SpinBox;Key:K;Value:abc;MinValue:0;MaxValue:9" << "0";
        QTest::newRow("TSlider") << "GuiName:X;GuiType:TSlider;Key:K;Value:-3;MinValue:-10;MaxValue:0x0A;Unit:dBm" << "-3";
        QTest::newRow("bare LineEdit") << "GuiName:X;GuiType:LineEdit;Key:K" << "n.a.";
        QTest::newRow("Label") << "GuiName:X;GuiType:Label;Key:K;Value:v1.2" << "v1.2";
        QTest::newRow("ComboBox") << "GuiName:X;GuiType:ComboBox;Key:K;Value:EU868;ValueList:US915,EU868,AS923" << "EU868";
        QTest::newRow("ComboBox unknown") << "GuiName:X;GuiType:ComboBox;Key:K;Value:XX;ValueList:US915,EU868" << "US915";
        QTest::newRow("CheckBox on") << "GuiName:X;GuiType:CheckBox;Key:K;Value:1" << "1";
        QTest::newRow("CheckBox decimal only") << "GuiName:X;GuiType:CheckBox;Key:K;Value:0x1" << "0";
        QTest::newRow("RadioButtonBox") << "GuiName:X;GuiType:RadioButtonBox;Key:K;Value:2;ValueList:1:A,2:B,4:C" << "2";
        QTest::newRow("CheckButtonBox") << "GuiName:X;GuiType:CheckButtonBox;Key:K;Value:5;ValueList:1:A,2:B,4:C" << "5";
    }
    void build_initialValueReadBack()
    {
        QFETCH(QString, descriptor);
        QFETCH(QString, value);
        Rows rows({descriptor});
        QCOMPARE(rows.items.Count(), 1);
        QCOMPARE(rows.items.ReadItems(), QStringList{QStringLiteral("Key:K;Value:") + value});
        QCOMPARE(rows.items.Label(0)->sizeHint().width(), kLabelWidth);
        QCOMPARE(rows.items.Label(0)->sizePolicy().horizontalPolicy(), QSizePolicy::Fixed);
        QCOMPARE(rows.items.Editor(0)->accessibleName(), QStringLiteral("X"));
    }

    void build_skipsMalformedAndUnknownWithoutStrayWidgets()
    {
        const int topLevelBefore = QApplication::topLevelWidgets().size();
        Rows rows({
            QStringLiteral("GuiType:LineEdit;Key:NoName"),
            QStringLiteral("GuiName:No type;Key:NoType;Value:1"),
            QStringLiteral("GuiName:No value;GuiType:ComboBox;Key:NoValue;ValueList:a,b"),
            QStringLiteral("GuiName:Wrong case;GuiType:Spinbox;Key:Case;Value:1"),
            QStringLiteral("GuiName:X;GuiType:SpinBox;MinValue:1;Value:5"),
            QStringLiteral("GuiName:Rule;GuiType:Line;Key:Rule"),
            QStringLiteral("GuiName:Port;GuiType:LineEdit;Key:Port;GuiFlags:RO"),
            QStringLiteral("GuiName:Note;GuiType:Label;Value:no key"),
        });
        QCOMPARE(rows.items.Count(), 4);
        auto* spin = qobject_cast<TSpinControl*>(rows.items.Editor(0));
        QVERIFY(spin);
        QCOMPARE(spin->Value(), 1);
        QVERIFY(qobject_cast<QFrame*>(rows.items.Editor(1)));
        QVERIFY(!rows.items.Label(1));
        QVERIFY(qobject_cast<QLineEdit*>(rows.items.Editor(2))->isReadOnly());
        QCOMPARE(rows.items.ReadItems(), QStringList{QStringLiteral("Key:Port;Value:n.a.")});
        QVERIFY(!rows.items.FindItem(QStringLiteral("NoValue")));
        // three row labels, the "Label" editor and the (hidden) reason beside the SpinBox
        QCOMPARE(rows.page.findChildren<QLabel*>().size(), 5);
        QCOMPARE(QApplication::topLevelWidgets().size(), topLevelBefore + 1);   // only the page itself
    }

    void readBack_checkableRowsAddTheirState()
    {
        Rows rows({
            QStringLiteral("GuiName:AppEUI;GuiType:LineEdit;Key:AppEUI;Value:0x0102;GuiFlags:Checkable"),
            QStringLiteral("GuiName:ADR;GuiType:CheckBox;Key:ADR;Value:1;GuiFlags:Enabled"),
            QStringLiteral("GuiName:Class;GuiType:ComboBox;Key:Class;Value:C;ValueList:A,C;GuiFlags:Checkable"),
            QStringLiteral("GuiName:Last Sync;GuiType:LineEdit;Key:TargetTime;Value:n.a.;GuiFlags:RO"),
        });
        auto* appEui = qobject_cast<QCheckBox*>(rows.items.Label(0));
        QVERIFY(appEui);
        QCOMPARE(appEui->text(), QStringLiteral("AppEUI"));
        QVERIFY(!appEui->isChecked());
        QVERIFY(qobject_cast<QLabel*>(rows.items.Label(1)));
        QVERIFY(rows.items.Editor(1)->isEnabled());
        appEui->setChecked(true);
        QCOMPARE(rows.items.ReadItems(), (QStringList{"Key:AppEUI;Value:0x0102", ";State:checked", "Key:ADR;Value:1",
                                                      "Key:Class;Value:C", ";State:unchecked", "Key:TargetTime;Value:n.a."}));
        // A read-only row shows a result: it is no parameter of a set command.
        TKeyValueList expected;
        expected.Append("AppEUI", "0x0102");
        expected.Append("ADR", "1");
        expected.Append("Class", "C");
        QCOMPARE(rows.items.ReadKeyValues(), expected);

        // A set command's parameters: an unticked field is left out, also behind a read-only row.
        static const TFieldLayoutEntry kLayout[] = {{"Index", "U8d"}, {"Optional:Mask", "U8h"}, {nullptr, nullptr}};
        Rows group({
            QStringLiteral("GuiName:Status;GuiType:LineEdit;Key:ConfigStatus;Value:1;GuiFlags:RO"),
            QStringLiteral("GuiName:Index;GuiType:LineEdit;Key:Index;Value:2"),
            QStringLiteral("GuiName:Mask;GuiType:LineEdit;Key:Mask;Value:15;GuiFlags:Checkable"),
        });
        QCOMPARE(TLayoutParams::FromRows(group.items, kLayout).ToText(), QStringLiteral("Index: 2"));
        qobject_cast<QCheckBox*>(group.items.Label(2))->setChecked(true);
        QCOMPARE(TLayoutParams::FromRows(group.items, kLayout).ToText(), QStringLiteral("Index: 2; Mask: 0x0F"));
    }

    void setItems_lineEditFormatsByFlags_data()
    {
        QTest::addColumn<QString>("flags");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("shown");
        QTest::newRow("HEX2") << "GuiFlags:HEX2" << "10" << "0x0a";
        QTest::newRow("HEX8") << "GuiFlags:RO,HEX8" << "43981" << "0x0000abcd";
        QTest::newRow("HEX4 from hex") << "GuiFlags:HEX4" << "0x1F" << "0x001f";
        QTest::newRow("HEX2 negative") << "GuiFlags:HEX2" << "-1" << "0xff";
        QTest::newRow("HEX4 not a number") << "GuiFlags:HEX4" << "n.a." << "n.a.";
        QTest::newRow("F_1") << "GuiFlags:F_1" << "3.14159" << "3.1";
        QTest::newRow("F_3 scaled") << "GuiFlags:F_3;Scaler:0.001" << "12345" << "12.345";
        QTest::newRow("F_2 scaled up") << "GuiFlags:F_2;Scaler:10" << "1.5" << "15.00";
        QTest::newRow("F_2 bad scaler") << "GuiFlags:F_2;Scaler:x" << "1.5" << "0.00";
        QTest::newRow("no flags") << "GuiFlags:RO" << "0x10" << "0x10";
    }
    void setItems_lineEditFormatsByFlags()
    {
        QFETCH(QString, flags);
        QFETCH(QString, value);
        QFETCH(QString, shown);
        Rows rows({QStringLiteral("GuiName:X;GuiType:LineEdit;Key:K;") + flags});
        TKeyValueList record;
        record.Append("K", value);
        rows.items.SetItems(record);
        QCOMPARE(rows.Text("K"), shown);
    }

    void setItems_fillsEveryTypeAndClearsTheRest()
    {
        Rows rows({
            QStringLiteral("GuiName:Name;GuiType:LineEdit;Key:Name;Value:old"),
            QStringLiteral("GuiName:Other;GuiType:LineEdit;Key:Other;Value:old"),
            QStringLiteral("GuiName:Info;GuiType:Label;Key:Info;Value:kept"),
            QStringLiteral("GuiName:Band;GuiType:ComboBox;Key:Band;Value:EU868;ValueList:EU868,US915"),
            QStringLiteral("GuiName:Rate;GuiType:SpinBox;Key:Rate;Value:0;MinValue:0;MaxValue:100"),
            QStringLiteral("GuiName:Power;GuiType:TSlider;Key:Power;Value:0;MinValue:0;MaxValue:20;Unit:dBm"),
            QStringLiteral("GuiName:ADR;GuiType:CheckBox;Key:ADR;Value:0"),
            QStringLiteral("GuiName:Mode;GuiType:RadioButtonBox;Key:Mode;Value:0;ValueList:0:A,1:B,2:C"),
            QStringLiteral("GuiName:Events;GuiType:CheckButtonBox;Key:Events;Value:0;ValueList:1:A,2:B,4:C"),
        });
        TKeyValueList record;
        record.Append("Name", "Velto");
        record.Append("Band", "US915");
        record.Append("Rate", "0x20");
        record.Append("Power", "14");
        record.Append("ADR", "1");
        record.Append("Mode", "2");
        record.Append("Events", "6");
        record.Append("Unknown", "x");
        rows.items.SetItems(record);
        QCOMPARE(rows.items.ReadItems(), (QStringList{"Key:Name;Value:Velto", "Key:Other;Value:n.a.", "Key:Info;Value:kept",
                                                      "Key:Band;Value:US915", "Key:Rate;Value:32", "Key:Power;Value:14",
                                                      "Key:ADR;Value:1", "Key:Mode;Value:2", "Key:Events;Value:6"}));
        QCOMPARE(qobject_cast<TSlider*>(rows.items.FindItem("Power"))->DisplayText(), QStringLiteral("14 dBm"));
        QVERIFY(!rows.items.FindItem("Unknown"));

        TKeyValueList unknownBand;
        unknownBand.Append("Band", "AS923");
        rows.items.SetItems(unknownBand, false);
        QCOMPARE(rows.Text("Name"), QStringLiteral("Velto"));
        QCOMPARE(qobject_cast<QComboBox*>(rows.items.FindItem("Band"))->currentText(), QStringLiteral("US915"));
        rows.items.ClearItems();
        QCOMPARE(rows.Text("Name"), QStringLiteral("n.a."));
    }

    void buttonBoxes_itemsIdentifiersAndValues()
    {
        const auto items = TButtonBox::ParseItems(QStringLiteral("3 : HCI Power-Up Indication,x:Broken,Plain,8:Alarm"));
        TRadioButtonBox radio(items, Qt::Vertical);
        QCOMPARE(radio.Count(), 4);
        QCOMPARE(radio.ButtonId(0), 3);
        QCOMPARE(radio.Button(0)->text(), QStringLiteral(" HCI Power-Up Indication"));
        QCOMPARE(radio.ButtonId(1), 0);
        QCOMPARE(radio.ButtonId(2), 2);
        QCOMPARE(radio.Button(2)->text(), QStringLiteral("Plain"));
        QCOMPARE(radio.Value(), 3);
        radio.SetValue(8);
        QCOMPARE(radio.Value(), 8);
        QVERIFY(!radio.Button(0)->isChecked());
        radio.SetValue(99);
        QCOMPARE(radio.Value(), 8);
        QSignalSpy clicked(&radio, &TRadioButtonBox::buttonClicked);
        radio.Button(2)->click();
        QCOMPARE(clicked.count(), 1);
        QCOMPARE(clicked.at(0).at(0).toInt(), 2);
        QCOMPARE(radio.Value(), 2);

        TCheckButtonBox check(TButtonBox::ParseItems(QStringLiteral("1:A,2:B,4:C,8:D")), Qt::Horizontal);
        QCOMPARE(check.Value(), 1);
        check.Button(2)->click();
        QCOMPARE(check.Value(), 5);
        check.SetValue(10);
        QCOMPARE(check.Value(), 10);
        QVERIFY(!check.Button(0)->isChecked());

        Rows rows({QStringLiteral("GuiName:A;GuiType:RadioButtonBox;Key:A;Value:0;ValueList:x,y;GuiFlags:Horizontal"),
                   QStringLiteral("GuiName:B;GuiType:CheckButtonBox;Key:B;Value:0;ValueList:1:x,2:y")});
        QCOMPARE(qobject_cast<TButtonBox*>(rows.items.Editor(0))->Orientation(), Qt::Horizontal);
        QCOMPARE(qobject_cast<TButtonBox*>(rows.items.Editor(1))->Orientation(), Qt::Vertical);
    }

    void widths_sliderExtraAndSeparators()
    {
        Rows rows({QStringLiteral("GuiName:A;GuiType:TSlider;Key:A;Value:1;MinValue:0;MaxValue:9"),
                   QStringLiteral("GuiName:B;GuiType:TSlider;Key:B;Value:1;MinValue:0;MaxValue:9;SliderExtraWidth:40"),
                   QStringLiteral("GuiName:C;GuiType:TSlider;Key:C;Value:1;MinValue:0;MaxValue:9;SliderExtraWidth:010"),
                   QStringLiteral("GuiName:D;GuiType:SpinBox;Key:D;Value:1;MinValue:0;MaxValue:9")},
                  true);
        QCOMPARE(rows.items.Editor(0)->minimumWidth(), kEditorWidth + 120);
        QCOMPARE(rows.items.Editor(1)->minimumWidth(), kEditorWidth + 40);
        QCOMPARE(rows.items.Editor(2)->minimumWidth(), kEditorWidth + 10);
        QCOMPARE(rows.items.Editor(3)->minimumWidth(), kEditorWidth);
        QCOMPARE(rows.items.Separators().size(), 3);
    }

    void spinControl_overlayTakesTypedValues()
    {
        TSpinControl spin(0, 100, 5);
        QSignalSpy changed(&spin, &TSpinControl::ValueChanged);
        QSignalSpy text(&spin, &TSpinControl::EvSpinControl_TextChanged);
        const auto type = [&spin](const QString& typed) {
            spin.click();
            TOverlayEditBox* box = spin.OverlayEditBox();
            QVERIFY(box);
            QCOMPARE(box->objectName(), QStringLiteral("Overlay_Dialog"));
            QVERIFY(box->windowFlags() & Qt::FramelessWindowHint);
            QCOMPARE(box->Text(), spin.text());
            box->SetText(typed);
            box->AcceptButton()->click();
            QTRY_VERIFY(!spin.OverlayEditBox());
        };
        type(QStringLiteral("0x20"));
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(spin.Value(), 32);
        QCOMPARE(spin.text(), QStringLiteral("32"));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(text.takeFirst().at(0).toString(), QStringLiteral("32"));
        type(QStringLiteral("100"));
        QCOMPARE(spin.Value(), 100);

        // Out of range or no number: the box stays open, says why, and the value stays.
        for (const auto& refused : {qMakePair(QStringLiteral("500"), QStringLiteral("500 is outside 0 to 100")),
                                    qMakePair(QStringLiteral("abc"), QStringLiteral("not a number: enter 0 to 100"))}) {
            spin.click();
            TOverlayEditBox* box = spin.OverlayEditBox();
            QVERIFY(box);
            box->SetText(refused.first);
            box->AcceptButton()->click();
            QVERIFY(spin.OverlayEditBox());
            QCOMPARE(box->ReasonText(), refused.second);
            box->reject();
            QTRY_VERIFY(!spin.OverlayEditBox());
        }
        QCOMPARE(spin.Value(), 100);
        QCOMPARE(changed.count(), 2);

        // A value from a record is shown as it is and its row says it is out of range.
        Rows rows({QStringLiteral("GuiName:Count;GuiType:SpinBox;Key:Count;Value:1;MinValue:0;MaxValue:9")});
        TKeyValueList record;
        record.Append("Count", "12");
        rows.items.SetItems(record);
        QCOMPARE(rows.items.ReadItems(), QStringList{"Key:Count;Value:12"});
        QString problem;
        QVERIFY(!rows.items.Validate(&problem));
        QCOMPARE(problem, QStringLiteral("Count - 12 is outside 0 to 9"));
    }

    void validation_refusedAtTheFieldWithItsReason_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("problem");
        const QString range = QStringLiteral("Value:n.a.;MinValue:0;MaxValue:255");
        QTest::newRow("range in") << range << "255" << "";
        QTest::newRow("range hex") << range << "0x1F" << "";
        QTest::newRow("range above") << range << "300" << "300 is outside 0 to 255";
        QTest::newRow("range below") << range << "-1" << "-1 is outside 0 to 255";
        QTest::newRow("range no number") << range << "12a" << "not a number: enter 0 to 255";
        QTest::newRow("range n.a.") << range << "n.a." << "enter a number from 0 to 255";
        QTest::newRow("range signed") << "Value:0;MinValue:-128;MaxValue:0x7F" << "-128" << "";
        const QString decimal = QStringLiteral("Value:n.a.;MinValue:137.0;MaxValue:1020.0");
        QTest::newRow("decimal in") << decimal << "868.099976" << "";
        QTest::newRow("decimal whole") << decimal << "1020" << "";
        QTest::newRow("decimal above") << decimal << "1020.5" << "1020.5 is outside 137.0 to 1020.0";
        QTest::newRow("decimal comma") << decimal << "868,1" << "not a number: enter 137.0 to 1020.0";
        QTest::newRow("decimal n.a.") << decimal << "n.a." << "enter a number from 137.0 to 1020.0";
        QTest::newRow("hex exact") << "Value:n.a.;HexBytes:4" << "01 02 0A ff" << "";
        QTest::newRow("hex prefixed") << "Value:n.a.;HexBytes:4" << "0x01 0x02 0x03 0x4" << "";
        QTest::newRow("hex short") << "Value:n.a.;HexBytes:4" << "010203" << "4 hex bytes needed, 3 given";
        QTest::newRow("hex digits") << "Value:n.a.;HexBytes:4" << "0G 11 22 33" << "not hex bytes: write them like 01 A2 FF";
        QTest::newRow("hex odd") << "Value:n.a.;HexBytes:4" << "0102030" << "not hex bytes: write them like 01 A2 FF";
        QTest::newRow("hex n.a.") << "Value:n.a.;HexBytes:16" << "n.a." << "enter 16 hex bytes";
        QTest::newRow("hex range") << "Value:n.a.;HexBytes:0-2" << "01 02 03" << "0 to 2 hex bytes needed, 3 given";
        QTest::newRow("hex none") << "Value:n.a.;HexBytes:0-2" << "" << "";
        QTest::newRow("hex masked short") << "Value:;Mask:HH HH HH;HexBytes:3" << "0102" << "3 hex bytes needed, 2 given";
        QTest::newRow("hex none n.a.") << "Value:n.a.;HexBytes:0-2" << "n.a." << "enter 0 to 2 hex bytes";
        QTest::newRow("hex none needed") << "Value:n.a.;HexBytes:1-2" << "" << "enter 1 to 2 hex bytes";
        QTest::newRow("time") << "Value:n.a.;Format:hh:mm:ss" << "23:59:59" << "";
        QTest::newRow("time wrong") << "Value:n.a.;Format:hh:mm:ss" << "24:00:00" << "not in the form hh:mm:ss";
        const QString dateTime = QStringLiteral("Value:n.a.;Format:yyyy-MM-dd hh:mm:ss|dd.MM.yyyy hh:mm:ss");
        QTest::newRow("date local") << dateTime << "31.01.2024 12:00:00" << "";
        QTest::newRow("date month 13") << dateTime << "2024-13-01 00:00:00"
                                       << "not in the form yyyy-MM-dd hh:mm:ss or dd.MM.yyyy hh:mm:ss";
        QTest::newRow("mask complete") << "Value:12:00:00;Mask:99:99:99" << "07:30:00" << "";
        QTest::newRow("mask incomplete") << "Value:12:00:00;Mask:99:99:99" << "07:3" << "incomplete: fill in every position";
        QTest::newRow("no rule") << "Value:n.a." << "anything" << "";
    }
    void validation_refusedAtTheFieldWithItsReason()
    {
        QFETCH(QString, rule);
        QFETCH(QString, typed);
        QFETCH(QString, problem);
        Rows rows({QStringLiteral("GuiName:Field;GuiType:LineEdit;Key:F;") + rule});
        auto* edit = qobject_cast<QLineEdit*>(rows.items.FindItem("F"));
        QVERIFY(edit);
        rows.page.show();
        edit->setText(typed);
        QString first;
        QWidget* field = nullptr;
        QCOMPARE(rows.items.Validate(&first, &field), problem.isEmpty());
        QCOMPARE(first, problem.isEmpty() ? QString() : QStringLiteral("Field - ") + problem);
        QCOMPARE(field, problem.isEmpty() ? nullptr : static_cast<QWidget*>(edit));
        TFieldCheck* check = TFieldCheck::Of(edit);
        QCOMPARE(check != nullptr, rule != QStringLiteral("Value:n.a."));
        if (!check)
            return;
        QCOMPARE(check->ReasonLabel()->text(), problem);
        QCOMPARE(check->ReasonLabel()->isVisible(), !problem.isEmpty());
        QCOMPARE(edit->property("invalid").toBool(), !problem.isEmpty());
        // The reason also follows typing, before anything is sent.
        QTest::keyClick(edit, Qt::Key_End);
        QTest::keyClicks(edit, QStringLiteral("9"));
        QCOMPARE(check->ReasonLabel()->text(), check->Problem());
    }

    void maskedHexAndWideMasks_filledFromRecords()
    {
        Rows rows({QStringLiteral("GuiName:Address;GuiType:LineEdit;Key:A;Value:;Mask:>HHHHHHHH"),
                   QStringLiteral("GuiName:Key;GuiType:LineEdit;Key:K;Value:;Mask:HH HH;HexBytes:2"),
                   QStringLiteral("GuiName:Mask;GuiType:CheckButtonBox;Key:M;Value:0;ValueList:2:one,-2147483648:thirty-one")});
        TKeyValueList record;
        record.Append("A", "0x26011f3a");
        record.Append("M", "0x80000002");
        rows.items.SetItems(record);
        QCOMPARE(rows.Text("A"), QStringLiteral("26011F3A"));
        QCOMPARE(rows.Text("K"), QStringLiteral(" "));   // cleared to the empty mask, not "n.a."
        QCOMPARE(rows.items.ReadKeyValues().Value("M"), QString::number(qint32(0x80000002u)));
        QCOMPARE(TGuiItemList::ToInt("0xFFFFFFFF"), -1);
        QCOMPARE(TGuiItemList::ToInt("0x100000000"), 0);

        // A limit that depends on the module: the field is judged by the new one at once.
        auto* key = qobject_cast<QLineEdit*>(rows.items.FindItem("K"));
        key->setText(QStringLiteral("01 02"));
        TFieldCheck::Of(key)->SetHexBytes(0, 1);
        QCOMPARE(TFieldCheck::Of(key)->ReasonLabel()->text(), QStringLiteral("0 to 1 hex bytes needed, 2 given"));

        // A table beside the rows is greyed with them.
        QWidget table;
        rows.items.FollowStale(&table);
        rows.items.MarkRead(QStringLiteral("/dev/ttyUSB0"), QDateTime::currentDateTime());
        QCOMPARE(table.property("stale").toBool(), false);
        rows.items.MarkStale(QStringLiteral("another module is selected"));
        QCOMPARE(table.property("stale").toBool(), true);
        QVERIFY(table.toolTip().endsWith(QLatin1String("out of date: another module is selected")));
    }

    void comboIdList_filledAndReadByIdentifier()
    {
        Rows rows({QStringLiteral("GuiName:Baud Rate;GuiType:ComboBox;Key:Rate;Value:n.a.;GuiFlags:IdList;ValueList:0:9600 bps,4:115200 bps,6: 460800 bps"),
                   QStringLiteral("GuiName:Band;GuiType:ComboBox;Key:Band;Value:n.a.;ValueList:EU868,US915")});
        auto* rate = qobject_cast<QComboBox*>(rows.items.FindItem("Rate"));
        QCOMPARE(rate->currentIndex(), -1);
        QCOMPARE(rate->placeholderText(), QStringLiteral("n.a."));
        QCOMPARE(rate->itemText(2), QStringLiteral("460800 bps"));
        QCOMPARE(rows.items.ReadItems(), (QStringList{"Key:Rate;Value:n.a.", "Key:Band;Value:n.a."}));
        QString problem;
        QVERIFY(!rows.items.Validate(&problem));
        QCOMPARE(problem, QStringLiteral("Baud Rate - choose a value"));

        TKeyValueList record;
        record.Append("Rate", "4");
        record.Append("Band", "US915");
        rows.items.SetItems(record);
        QCOMPARE(rate->currentText(), QStringLiteral("115200 bps"));
        QCOMPARE(rows.items.ReadItems(), (QStringList{"Key:Rate;Value:4", "Key:Band;Value:US915"}));
        QVERIFY(rows.items.Validate());

        record.clear();
        record.Append("Rate", "9");
        rows.items.SetItems(record);
        QCOMPARE(rate->currentIndex(), -1);
        QCOMPARE(rate->placeholderText(), QStringLiteral("unknown: 9"));
        QCOMPARE(rows.items.ReadKeyValues().Value("Rate"), QStringLiteral("n.a."));
    }

    void rows_namedUnitsAndNeverCutOff()
    {
        const QString longName = QStringLiteral("Number of wake-up characters sent before each frame");
        Rows rows({QStringLiteral("GuiName:") + longName + QStringLiteral(";GuiType:LineEdit;Key:W;Value:40;Unit:characters"),
                   QStringLiteral("GuiName:Power;GuiType:TSlider;Key:P;Value:1;MinValue:0;MaxValue:9;Unit:dBm"),
                   QStringLiteral("GuiName:Optional;GuiType:LineEdit;Key:O;Value:1;GuiFlags:Checkable")});
        rows.page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&rows.page));
        auto* label = qobject_cast<QLabel*>(rows.items.Label(0));
        QCOMPARE(label->buddy(), rows.items.Editor(0));
        QVERIFY2(label->width() >= label->sizeHint().width(), qPrintable(QString::number(label->width())));
        QCOMPARE(rows.items.Editor(0)->accessibleName(), longName);
        QCOMPARE(rows.items.Editor(0)->accessibleDescription(), QStringLiteral("characters"));
        QLabel* unit = rows.page.findChild<QLabel*>(QStringLiteral("FieldUnit"));
        QVERIFY(unit);
        QCOMPARE(unit->text(), QStringLiteral("characters"));
        auto* slider = qobject_cast<TSlider*>(rows.items.Editor(1));
        QCOMPARE(slider->Slider()->accessibleName(), QStringLiteral("Power"));
        QCOMPARE(qobject_cast<QLabel*>(rows.items.Label(1))->buddy(), slider->Slider());
        QCOMPARE(rows.page.findChildren<QLabel*>(QStringLiteral("FieldUnit")).size(), 1);   // the slider shows its own unit
        auto* optional = qobject_cast<QCheckBox*>(rows.items.Label(2));
        QVERIFY(optional->width() >= optional->sizeHint().width());
        QCOMPARE(rows.items.Editor(2)->accessibleName(), QStringLiteral("Optional"));
    }

    void stale_greyedWithTheTimeTheyWereRead()
    {
        Rows rows({QStringLiteral("GuiName:Name;GuiType:LineEdit;Key:Name;Value:n.a."),
                   QStringLiteral("GuiName:Mode;GuiType:RadioButtonBox;Key:Mode;Value:0;ValueList:0:A,1:B")});
        QLabel note;
        rows.items.SetStaleNote(&note);
        rows.items.MarkStale(QStringLiteral("never read"));   // nothing read yet: nothing to mark
        QVERIFY(!rows.items.IsStale());
        QVERIFY(note.isHidden());

        TSettings::Instance().SetIsoFormat(true);
        const QDateTime when(QDate(2031, 2, 3), QTime(4, 5, 6));
        rows.items.MarkRead(QStringLiteral("/dev/ttyUSB0"), when);
        rows.items.MarkStale(QStringLiteral("the module was disconnected"));
        rows.items.MarkStale(QStringLiteral("another module is selected"));   // the first reason stays
        const QString text = QStringLiteral("Read at 2031-02-03 04:05:06 from /dev/ttyUSB0 - out of date: the module was disconnected");
        QVERIFY(rows.items.IsStale());
        QCOMPARE(rows.items.StaleText(), text);
        QCOMPARE(note.text(), text);
        QVERIFY(!note.isHidden());
        for (int row = 0; row < 2; ++row) {
            QVERIFY(rows.items.Label(row)->property("stale").toBool());
            QVERIFY(rows.items.Editor(row)->property("stale").toBool());
            QCOMPARE(rows.items.Editor(row)->toolTip(), text);
        }
        auto* box = qobject_cast<TRadioButtonBox*>(rows.items.Editor(1));
        QVERIFY(box->Button(1)->property("stale").toBool());   // the buttons inside grey as well

        rows.items.MarkRead(QStringLiteral("/dev/ttyUSB0"), when.addSecs(60));
        QVERIFY(!rows.items.IsStale());
        QVERIFY(note.isHidden());
        QVERIFY(!rows.items.Editor(0)->property("stale").toBool());
        QVERIFY(!box->Button(1)->property("stale").toBool());
        QCOMPARE(rows.items.Editor(0)->toolTip(), QString());
        QCOMPARE(rows.items.ReadFrom(), QStringLiteral("/dev/ttyUSB0"));
        QCOMPARE(rows.items.ReadTime(), when.addSecs(60));
    }
};

TESSERA_TEST_MAIN_WITH(QApplication, TestDescriptors)

#include "tst_descriptors.moc"
