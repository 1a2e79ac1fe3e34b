#include "ui/AddDetails.h"

#include <QGridLayout>

#include "base/FileName.h"
#include "ui/Text.h"

namespace tarvo {

AddDetails::AddDetails(QWidget* parent) : QWidget(parent) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins({});
    m_user = addField("tr.add.user", "user", 0, 0);
    m_password = addField("tr.add.password", "password", 0, 2);
    m_referer = addField("tr.add.referer", "referer", 1, 0);
    m_name = addField("tr.add.name", "name", 1, 2);
    m_checksum = addField("tr.add.checksum", "checksum", 2, 0);
    m_kind = new QLabel(this);
    m_kind->setObjectName(QStringLiteral("kind"));
    m_problem = new QLabel(this);
    m_problem->setObjectName(QStringLiteral("detailsProblem"));
    m_problem->setWordWrap(true);
    m_problem->hide();
    grid->addWidget(m_kind, 2, 2, 1, 2);
    grid->addWidget(m_problem, 3, 0, 1, 4);
    m_password->setEchoMode(QLineEdit::Password);
    m_referer->setPlaceholderText(text("tr.add.placeholder"));
    connect(m_checksum, &QLineEdit::textChanged, this, &AddDetails::showKindOfChecksum);
}

QLineEdit* AddDetails::addField(const char* labelKey, const char* objectName, int row, int column) {
    auto* grid = static_cast<QGridLayout*>(layout());
    auto* field = new QLineEdit(this);
    field->setObjectName(QLatin1String(objectName));
    auto* label = new QLabel(text(labelKey), this);
    label->setBuddy(field);
    grid->addWidget(label, row, column);
    grid->addWidget(field, row, column + 1);
    return field;
}

void AddDetails::setAddressCount(std::size_t count) {
    m_addressCount = count;
    for (auto* field : {m_name, m_checksum}) {
        const bool isForIt = count < 2;
        field->setPlaceholderText(isForIt ? QString() : text("tr.add.for-a-single-address"));
        field->setEnabled(isForIt || !field->text().isEmpty());
    }
}

void AddDetails::showKindOfChecksum() {
    const std::string entered = m_checksum->text().toStdString();
    const auto checksum = Checksum::guess(entered);
    QString kind;
    if (checksum)
        kind = QString::fromStdString(Checksum::nameOf(checksum->algorithm)).toUpper();
    else if (!entered.empty())
        kind = text("tr.add.checksum-unknown");
    m_kind->setText(kind);
    m_checksum->setAccessibleDescription(kind);
}

bool AddDetails::complain(QLineEdit& field, const char* key) {
    m_problem->setText(text(key));
    m_problem->show();
    field.setAccessibleDescription(text(key));
    field.setFocus();
    return false;
}

bool AddDetails::fill(AddChoices& choices) {
    m_problem->hide();
    const std::string referer = m_referer->text().trimmed().toStdString();
    const std::string name = m_name->text().trimmed().toStdString();
    const std::string checksum = m_checksum->text().trimmed().toStdString();
    if (!referer.empty()) {
        choices.referer = Url::parse(referer);
        if (!choices.referer || choices.referer->host().empty())
            return complain(*m_referer, "tr.add.referer-bad");
    }
    if (!password().empty() && userName().empty())
        return complain(*m_user, "tr.add.user-missing");
    if (m_addressCount > 1 && !name.empty())
        return complain(*m_name, "tr.add.name-of-many");
    if (m_addressCount > 1 && !checksum.empty())
        return complain(*m_checksum, "tr.add.checksum-of-many");
    if (name.find('/') != std::string::npos || (!name.empty() && cleanFileName(name, "").empty()))
        return complain(*m_name, "tr.add.name-bad");
    if (!name.empty())
        choices.name = name;
    choices.checksum = Checksum::guess(checksum);
    if (!checksum.empty() && !choices.checksum)
        return complain(*m_checksum, "tr.add.checksum-unknown");
    return true;
}

} // namespace tarvo
