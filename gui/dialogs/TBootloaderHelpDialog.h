#pragma once
#include <QDialog>

/// How to start the bootloader of a module by hand: the demo board's picture and the steps.
class TBootloaderHelpDialog : public QDialog
{
    Q_OBJECT
public:
    static constexpr const char* kTitle = "RM410x Bootloader Activation";
    static constexpr const char* kPicture = ":/img/Velto_DemoBoard";

    explicit TBootloaderHelpDialog(QWidget* parent = nullptr);

    static QString Text();
};
