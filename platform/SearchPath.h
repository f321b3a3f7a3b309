#pragma once

#include "platform/FolderItem.h"

#include <QStringList>

// The first of `names` found on PATH as an executable file, all of PATH for each name before
// the next; nil when there is none. A file root could run only for its x bits counts only
// with one of them set, for root too. Not on macOS, where a bundle started from the desktop
// gets no PATH of the user's.
FolderItem FindOnPath(const QStringList& names);
