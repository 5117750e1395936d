// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Names of any bytes as text that a terminal shows cell by cell and does nothing else with.
#ifndef APPLIST_UI_TEXT_H
#define APPLIST_UI_TEXT_H

#include <string>
#include <vector>

namespace applist_ui {

// The characters of `bytes` in UTF-8; U+FFFD for each byte that is no part of one.
std::wstring Decode(const std::string& bytes);
std::string Encode(const std::wstring& text);

// The same text, harmless: what acts on the terminal or turns the direction of what follows becomes
// an escape, what the locale's character set lacks a question mark, and what joins characters into
// one is left out, since terminals do not agree on how many cells that takes.
std::wstring Printable(const std::wstring& text);
inline std::wstring Printable(const std::string& bytes) {
  return Printable(Decode(bytes));
}

// The same for the name of an entry, which may be empty.
inline std::wstring ShownName(const std::string& name) {
  return name.empty() ? std::wstring(L"(no name)") : Printable(name);
}

// Whether the locale can write a character at all.
bool IsInCharset(wchar_t character);

// How many cells printable text takes.
int CellsOf(const std::wstring& text);

// Printable text in at most so many cells; where it is longer, its start and a mark, or its end.
std::wstring FirstCells(const std::wstring& text, int cells);
std::wstring LastCells(const std::wstring& text, int cells);

// Printable text in pieces of at most so many cells, of which there is one at least.
std::vector<std::wstring> Wrapped(const std::wstring& text, int cells);

}  // namespace applist_ui

#endif
