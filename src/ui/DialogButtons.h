// The buttons of a dialog, in the words of the program: Qt's own texts are not there in every language.
#pragma once

#include <string_view>

#include <QDialogButtonBox>
#include <QPushButton>

#include "ui/Text.h"

namespace tarvo {

/// A box with a button that accepts (unless `acceptKey` is empty) and one that rejects. Main thread.
inline QDialogButtonBox* makeDialogButtons(std::string_view acceptKey, std::string_view rejectKey,
                                           QWidget* parent) {
    auto* box = new QDialogButtonBox(parent);
    if (!acceptKey.empty())
        box->addButton(text(acceptKey), QDialogButtonBox::AcceptRole)->setDefault(true);
    box->addButton(text(rejectKey), QDialogButtonBox::RejectRole);
    return box;
}

/// That of the box with the role, of which there is one.
inline QPushButton* buttonOf(const QDialogButtonBox& box, QDialogButtonBox::ButtonRole role) {
    for (auto* button : box.buttons()) {
        if (box.buttonRole(button) == role)
            return qobject_cast<QPushButton*>(button);
    }
    return nullptr;
}

} // namespace tarvo
