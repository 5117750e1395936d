// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Names and identifiers as they are shown, on a terminal, in a pipe and in JSON.
#ifndef APPLIST_APPLISTCTL_SHOWNTEXT_H
#define APPLIST_APPLISTCTL_SHOWNTEXT_H

#include <cstddef>
#include <string>
#include <vector>

// Any bytes as a line of text that shows itself and does nothing else: a backslash as two, and each
// byte of what is no valid UTF-8, acts on a terminal, ends a line or turns the direction of the
// text behind it as \xNN. applist::FromBusText leads back to the bytes, so that what is shown can
// be given to the program again, and to everything else that takes the texts of the control
// interface.
std::string Shown(const std::string& bytes);

// What others say about themselves, such as the bus in an error, without what acts on a terminal. A
// backslash stays as it is.
std::string Harmless(const std::string& text);

// The columns that a text takes on a terminal: none for a combining character, two for a wide one.
// Needs a UTF-8 locale.
size_t Width(const std::string& shown);

// Lines of cells, each column as wide as its widest cell, two spaces apart. A cell of more than
// kWidestColumn columns does not widen the others. Nothing is behind the last cell of a line.
constexpr size_t kWidestColumn = 48;
std::vector<std::string> Aligned(const std::vector<std::vector<std::string>>& rows);

#endif
