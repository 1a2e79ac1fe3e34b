#include "ui/ManualWindow.h"

#include <QFontDatabase>
#include <QProcessEnvironment>
#include <QVBoxLayout>

#include "base/Runloop.h"
#include "ui/DialogButtons.h"
#include "ui/Text.h"

namespace tarvo {

ManualWindow::ManualWindow(QWidget* parent)
    : QDialog(parent), m_text(new QPlainTextEdit(this)), m_man(new QProcess(this)) {
    Runloop::assertMain();
    setWindowTitle(text("tr.manual.title"));
    resize(720, 560);
    m_text->setReadOnly(true);
    m_text->setTabChangesFocus(true);
    m_text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_text->setAccessibleName(text("tr.manual.title"));
    auto* buttons = makeDialogButtons({}, "tr.preferences.close", this);
    auto* rows = new QVBoxLayout(this);
    rows->addWidget(m_text);
    rows->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    begin();
}

void ManualWindow::begin() {
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("MANWIDTH"), QStringLiteral("80"));
    environment.remove(QStringLiteral("MAN_KEEP_FORMATTING")); // without it, man strips what is no text
    m_man->setProcessEnvironment(environment);
    connect(m_man, &QProcess::finished, this, [this](int code, QProcess::ExitStatus status) {
        fill(code == 0 && status == QProcess::NormalExit);
    });
    connect(m_man, &QProcess::errorOccurred, this, [this] { fill(false); });
    m_man->start(QStringLiteral("man"),
                 {QStringLiteral("-P"), QStringLiteral("cat"), QStringLiteral("tarvo")});
    m_man->closeWriteChannel();
}

void ManualWindow::fill(bool isThere) {
    const QString manual = QString::fromUtf8(m_man->readAllStandardOutput());
    m_text->setPlainText(isThere && !manual.isEmpty() ? manual : text("tr.manual.missing"));
}

} // namespace tarvo
