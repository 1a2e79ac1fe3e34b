#include "ui/PreferencesWindow.h"

#include <algorithm>
#include <utility>

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "ui/FolderField.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

constexpr double kMostOfScreen = 0.9;

QString qt(std::string_view ascii) {
    return QString::fromLatin1(ascii.data(), static_cast<qsizetype>(ascii.size()));
}

/// The words of a label without the mark of its key.
QString nameOf(const Preference& preference) {
    return text(preference.labelKey).remove(u'&');
}

/// What the pane has no room for is scrolled to, by the keyboard too.
QScrollArea* scrolling(QWidget* page, QTabWidget& panes) {
    auto* area = new QScrollArea(&panes);
    area->setWidget(page);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFocusPolicy(Qt::NoFocus);
    area->viewport()->setAutoFillBackground(false);
    page->setAutoFillBackground(false);
    return area;
}

bool standsAlone(const Preference& preference) {
    return preference.kind == Preference::Kind::toggle || preference.kind == Preference::Kind::reset;
}

} // namespace

PreferencesWindow::PreferencesWindow(UserDefaults& defaults, FolderLook& look, std::string homeFolder,
                                     QWidget* parent)
    : QDialog(parent), m_defaults(defaults), m_look(look), m_homeFolder(std::move(homeFolder)) {
    Runloop::assertMain();
    setWindowTitle(text("tr.preferences.title"));
    setAttribute(Qt::WA_DeleteOnClose);
    auto* panes = new QTabWidget(this);
    panes->setAccessibleName(windowTitle());
    std::map<Preference::Pane, QFormLayout*> forms;
    for (const auto& [pane, key] : {std::pair(Preference::Pane::general, "tr.preferences.general"),
                                    std::pair(Preference::Pane::advanced, "tr.preferences.advanced"),
                                    std::pair(Preference::Pane::app, "tr.preferences.app")}) {
        auto* page = new QWidget;
        forms[pane] = new QFormLayout(page);
        panes->addTab(scrolling(page, *panes), text(key));
    }
    for (const auto& preference : preferences())
        addRow(preference, *forms[preference.pane]);
    for (auto* area : panes->findChildren<QScrollArea*>())
        area->setMinimumWidth(area->widget()->minimumSizeHint().width() +
                              style()->pixelMetric(QStyle::PM_ScrollBarExtent));
    resize(QSize(560, 400).boundedTo(screen()->availableSize() * kMostOfScreen));
    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(text("tr.preferences.close"), QDialogButtonBox::RejectRole)->setAutoDefault(false);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    auto* rows = new QVBoxLayout(this);
    rows->addWidget(panes);
    rows->addWidget(buttons);
    connect(&defaults, &UserDefaults::changed, this, [this](const std::string& key) {
        if (const auto control = m_show.find(key); control != m_show.end())
            control->second();
    });
}

void PreferencesWindow::addRow(const Preference& preference, QFormLayout& form) {
    const Control control = makeControl(preference);
    control.widget->setObjectName(qt(preference.key));
    if (standsAlone(preference)) {
        form.addRow(control.widget);
    } else {
        auto* label = new QLabel(text(preference.labelKey), this);
        auto* folder = qobject_cast<FolderField*>(control.widget);
        label->setBuddy(folder ? static_cast<QWidget*>(&folder->input()) : control.widget);
        form.addRow(label, control.widget);
    }
    if (!preference.hintKey.empty()) {
        auto* hint = new QLabel(text(preference.hintKey), this);
        hint->setWordWrap(true);
        hint->setForegroundRole(QPalette::PlaceholderText);
        control.widget->setAccessibleDescription(hint->text());
        if (standsAlone(preference)) {
            hint->setIndent(style()->pixelMetric(QStyle::PM_IndicatorWidth) +
                            style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing));
            form.addRow(hint);
        } else {
            form.addRow(QString(), hint);
        }
    }
    if (preference.kind == Preference::Kind::text)
        form.addRow(QString(), problemLabel(preference));
    const auto show = [this, &preference, control] {
        control.show(shownPreference(m_defaults, preference, m_homeFolder));
    };
    m_show.emplace(preference.key, show);
    show();
}

QLabel* PreferencesWindow::problemLabel(const Preference& preference) {
    auto* label = new QLabel(this);
    label->setWordWrap(true);
    label->setObjectName(qt(preference.key) + QStringLiteral(".problem"));
    label->hide();
    m_problems.emplace(preference.key, label);
    return label;
}

PreferencesWindow::Control PreferencesWindow::makeControl(const Preference& preference) {
    switch (preference.kind) {
    case Preference::Kind::toggle:
        return makeToggle(preference);
    case Preference::Kind::number:
        return makeNumber(preference);
    case Preference::Kind::choice:
        return makeChoice(preference);
    case Preference::Kind::folder:
        return makeFolder(preference);
    case Preference::Kind::reset:
        return makeReset(preference);
    case Preference::Kind::text:
        break;
    }
    return makeText(preference);
}

PreferencesWindow::Control PreferencesWindow::makeToggle(const Preference& preference) {
    auto* box = new QCheckBox(text(preference.labelKey), this);
    connect(box, &QCheckBox::toggled, this, [this, &preference](bool isOn) { store(preference, isOn); });
    return {box, [box](const QVariant& value) {
                const QSignalBlocker quiet(box);
                box->setChecked(value.toBool());
            }};
}

PreferencesWindow::Control PreferencesWindow::makeNumber(const Preference& preference) {
    auto* box = new QSpinBox(this);
    box->setRange(preference.range.first, preference.range.second);
    box->setKeyboardTracking(false); // half a number is none
    box->setMaximumWidth(box->sizeHint().width());
    connect(box, &QSpinBox::valueChanged, this,
            [this, &preference](int value) { store(preference, QVariant::fromValue<qlonglong>(value)); });
    return {box, [box](const QVariant& value) {
                const QSignalBlocker quiet(box);
                box->setValue(static_cast<int>(
                    std::clamp<qlonglong>(value.toLongLong(), box->minimum(), box->maximum())));
            }};
}

PreferencesWindow::Control PreferencesWindow::makeChoice(const Preference& preference) {
    auto* box = new QComboBox(this);
    for (const auto& [stored, words] : preference.choices)
        box->addItem(text(words), qt(stored));
    connect(box, &QComboBox::activated, this,
            [this, &preference, box] { store(preference, box->currentData()); });
    return {box, [box](const QVariant& value) { // the first one stands for what is none of them
                box->setCurrentIndex(std::max(0, box->findData(value)));
            }};
}

PreferencesWindow::Control PreferencesWindow::makeText(const Preference& preference) {
    auto* field = new QLineEdit(this);
    connect(field, &QLineEdit::editingFinished, this, [this, &preference, field] {
        if (field->isModified())
            store(preference, field->text());
    });
    return {field, [this, field, &preference](const QVariant& value) {
                field->setText(value.toString());
                field->setModified(false);
                complain(preference, {});
            }};
}

PreferencesWindow::Control PreferencesWindow::makeReset(const Preference& preference) {
    auto* button = new QPushButton(text(preference.labelKey), this);
    button->setAutoDefault(false);
    button->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    connect(button, &QPushButton::clicked, this, [this, &preference] { store(preference, QString()); });
    return {button, [button](const QVariant& value) { button->setEnabled(!value.toString().isEmpty()); }};
}

PreferencesWindow::Control PreferencesWindow::makeFolder(const Preference& preference) {
    auto* field = new FolderField(m_look, m_homeFolder, nameOf(preference), this);
    if (preference.key == SettingKey::kSSHDirectoryBookmark)
        field->setPlaceholder(QStringLiteral("~/.ssh"));
    connect(field, &FolderField::settled, this, [this, &preference, field] {
        if (field->problem().isEmpty())
            store(preference, QByteArray::fromStdString(field->folder()));
    });
    return {field, [field](const QVariant& value) {
                const std::string folder = value.toByteArray().toStdString();
                if (folder != field->folder())
                    field->setFolder(folder);
            }};
}

void PreferencesWindow::store(const Preference& preference, const QVariant& value) {
    if (value == shownPreference(m_defaults, preference, m_homeFolder))
        return complain(preference, {});
    const auto isStored = storePreference(m_defaults, preference.key, value);
    if (!isStored)
        return complain(preference, QString::fromStdString(isStored.error().sentence()));
    complain(preference, {});
    Q_EMIT stored();
}

void PreferencesWindow::complain(const Preference& preference, const QString& problem) {
    const auto label = m_problems.find(preference.key);
    if (label == m_problems.end())
        return;
    label->second->setText(problem);
    label->second->setVisible(!problem.isEmpty());
    if (auto* field = findChild<QWidget*>(qt(preference.key)))
        field->setAccessibleDescription(problem);
}

/// A field that is still being edited has been finished with.
void PreferencesWindow::closeEvent(QCloseEvent* event) {
    if (auto* field = focusWidget())
        field->clearFocus();
    QDialog::closeEvent(event);
}

} // namespace tarvo
