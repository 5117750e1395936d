// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Identifiers of desktop entries, as they come from outside.
#ifndef APPLIST_APPLISTD_DESKTOPID_H
#define APPLIST_APPLISTD_DESKTOPID_H

#include <string>

// Whether this can be the identifier of a desktop entry, such as org.example.Mail.desktop: a name
// in an application directory that ends in ".desktop". It has 255 bytes at most, none of them a
// slash or a control character, and starts with neither a dash nor a dot, so that nothing takes it
// for a path or an option.
bool IsDesktopId(const std::string& id);

#endif
