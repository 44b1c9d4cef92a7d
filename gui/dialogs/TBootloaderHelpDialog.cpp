#include "gui/dialogs/TBootloaderHelpDialog.h"

#include <QDialogButtonBox>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const char* const kSteps =
    "1. The RM410x supports a bootloader-mode hardware input signal which is available on the Velto Demoboard at connector \"X5.20\".\n"
    "2. Connecting this pin to \"X9.1(Vcc)\" (yellow cable) will activate the bootloader on next device reset.\n"
    "3. Press \"B4\" to reset the radio module.\n"
    "4. Follow the instructions for firmware update.\n"
    "5. Disconnect the \"X5.20\" from \"X9.1(Vcc)\".\n"
    "6. Press \"B4\" again to re-start the fimrware in application mode.";
constexpr int kPictureSize = 320;
}

QString TBootloaderHelpDialog::Text()
{
    return QString::fromLatin1(kSteps);
}

TBootloaderHelpDialog::TBootloaderHelpDialog(QWidget* parent)
    : QDialog(parent)
{
    setWindowTitle(QString::fromLatin1(kTitle));
    auto* layout = new QVBoxLayout(this);
    auto* picture = new QLabel(this);
    picture->setPixmap(QIcon(QString::fromLatin1(kPicture)).pixmap(kPictureSize, kPictureSize));
    picture->setAlignment(Qt::AlignCenter);
    picture->setAccessibleName(QStringLiteral("Velto Demoboard"));
    layout->addWidget(picture);
    auto* steps = new QLabel(Text(), this);
    steps->setWordWrap(true);
    steps->setAccessibleName(QString::fromLatin1(kTitle));
    layout->addWidget(steps);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    QPushButton* close = buttons->button(QDialogButtonBox::Close);
    close->setAccessibleName(close->text().remove(QLatin1Char('&')));
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}
