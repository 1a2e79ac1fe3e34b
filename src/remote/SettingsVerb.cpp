#include "remote/SettingsVerb.h"

#include <algorithm>
#include <charconv>
#include <iostream>

#include <QJsonDocument>
#include <QJsonObject>
#include <spdlog/fmt/fmt.h>

#include "app/SettingsTable.h"
#include "base/Disk.h"
#include "base/Localized.h"
#include "base/PosixDisk.h"
#include "base/Runloop.h"
#include "base/Text.h"
#include "rows/Preferences.h"

namespace tarvo {

namespace {

constexpr int kFailed = 1;

/// What a person may change: the program's own notes are none of it.
bool isOpen(const Setting& setting) {
    const bool isText = setting.type != SettingType::bytes && setting.type != SettingType::counters;
    return isText && setting.defaultValue.isValid();
}

const Setting* settingNamed(const std::string& key) {
    const auto& table = settingsTable();
    const auto place =
        std::find_if(table.begin(), table.end(), [&](const Setting& each) { return each.key == key; });
    return place != table.end() && isOpen(*place) ? &*place : nullptr;
}

const Preference* preferenceNamed(const std::string& key) {
    const auto& all = preferences();
    const auto place =
        std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.key == key; });
    return place == all.end() ? nullptr : &*place;
}

tl::unexpected<Error> noSuchSetting(const std::string& key) {
    return tl::unexpected(Error::tarvo(localized("tr.remote.no-setting", {shown(key)}),
                                       localized("tr.remote.no-setting-recovery")));
}

tl::unexpected<Error> noUse(const std::string& key, const std::string& wanted) {
    return tl::unexpected(Error::tarvo(localized("tr.remote.no-value", {key, wanted})));
}

Result<QVariant> truthOf(const std::string& key, const std::string& text) {
    const std::string word = lowered(text);
    for (const auto* yes : {"true", "yes", "on", "1"}) {
        if (word == yes)
            return QVariant(true);
    }
    for (const auto* no : {"false", "no", "off", "0"}) {
        if (word == no)
            return QVariant(false);
    }
    return noUse(key, "true, false");
}

Result<QVariant> numberOf(const std::string& key, const Preference* preference, const std::string& text) {
    qlonglong number = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
    const auto [least, most] = preference ? preference->range : std::pair(0, 0);
    const bool isWithin = most == 0 || (number >= least && number <= most);
    if (fault != std::errc() || end != text.data() + text.size() || !isWithin)
        return noUse(key, most == 0 ? "0, 1, 2…" : fmt::format("{}…{}", least, most));
    return QVariant(number);
}

Result<QVariant> textOf(const std::string& key, const Preference* preference, const std::string& text) {
    if (!preference || preference->choices.empty())
        return QVariant(QString::fromStdString(text));
    std::string all;
    for (const auto& [value, words] : preference->choices) {
        if (value == text)
            return QVariant(QString::fromStdString(text));
        all += (all.empty() ? "\"" : ", \"") + std::string(value) + "\"";
    }
    return noUse(key, all);
}

Result<QVariant> valueOf(const Setting& setting, const std::string& text) {
    const std::string key(setting.key);
    const Preference* preference = preferenceNamed(key);
    if (preference && preference->kind == Preference::Kind::folder) {
        const auto path = absolutePath(text);
        if (!path)
            return tl::unexpected(path.error());
        return QVariant(QByteArray::fromStdString(*path));
    }
    if (setting.type == SettingType::boolean)
        return truthOf(key, text);
    return setting.type == SettingType::integer ? numberOf(key, preference, text)
                                                : textOf(key, preference, text);
}

std::string shownValue(const UserDefaults& defaults, const Setting& setting) {
    const std::string stored = defaults.string(setting.key).value_or("");
    return setting.type == SettingType::boolean ? (defaults.boolean(setting.key) ? "true" : "false") : stored;
}

void print(const UserDefaults& defaults, const Setting& setting, bool isJson) {
    const std::string value = shownValue(defaults, setting);
    if (!isJson) {
        std::cout << fmt::format("{} = {}\n    {}\n", setting.key, value, setting.meaning);
        return;
    }
    const QJsonObject object{{"key", QString::fromStdString(std::string(setting.key))},
                             {"value", QString::fromStdString(value)},
                             {"default", setting.defaultValue.toString()},
                             {"meaning", QString::fromStdString(std::string(setting.meaning))}};
    std::cout << QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() << "\n";
}

Result<void> carryOut(UserDefaults& defaults, const SettingsWish& wish) {
    if (wish.key.empty()) {
        for (const auto& setting : settingsTable()) {
            if (isOpen(setting))
                print(defaults, setting, wish.isJson);
        }
        return {};
    }
    const Setting* setting = settingNamed(wish.key);
    if (!setting)
        return noSuchSetting(wish.key);
    if (wish.isReset)
        defaults.remove(wish.key);
    else if (wish.value)
        return storeSetting(defaults, wish.key, *wish.value);
    else if (wish.isJson)
        print(defaults, *setting, true);
    else
        std::cout << shownValue(defaults, *setting) << "\n";
    return {};
}

} // namespace

Result<void> storeSetting(UserDefaults& defaults, const std::string& key, const std::string& text) {
    Runloop::assertMain();
    const Setting* setting = settingNamed(key);
    if (!setting)
        return noSuchSetting(key);
    const auto value = valueOf(*setting, text);
    if (!value)
        return tl::unexpected(value.error());
    return storePreference(defaults, key, *value);
}

int runSettings(const SettingsWish& wish, QueueClient& client) {
    Runloop::assertMain();
    PosixDisk disk;
    UserDefaults defaults(UserDefaults::standardPath(), disk);
    registerDefaultSettings(defaults);
    const auto done = carryOut(defaults, wish);
    if (!done)
        std::cerr << "tarvo: " << done.error().sentence() << "\n";
    if (!done || (!wish.isReset && !wish.value))
        return done ? EXIT_SUCCESS : kFailed;
    if (!defaults.flush()) {
        std::cerr << "tarvo: " << localized("tr.remote.not-stored") << "\n";
        return kFailed;
    }
    (void)client.call("ReadSettings"); // where none runs, none has to
    return EXIT_SUCCESS;
}

} // namespace tarvo
