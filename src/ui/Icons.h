// Icons by their names in the desktop's theme, with drawings of our own where it has none.
#pragma once

#include <QIcon>
#include <QString>

namespace tarvo::Icons {

/// Icon Naming Specification. Where the theme in use has no icon of that name, src/ui/icons/NAME.svg, in the
/// palette's text colour and sharp at any size; both follow a change of theme or palette. Null for a name
/// that neither has. Main thread.
QIcon named(const QString& name);

/// For a file of that media type: its own icon, else that of its kind ("text-x-generic").
QIcon ofMediaType(const QString& mediaType);

/// The program's own.
QIcon ofApplication();

} // namespace tarvo::Icons
