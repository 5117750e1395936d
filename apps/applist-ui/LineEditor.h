// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// One line that the user types.
#ifndef APPLIST_UI_LINEEDITOR_H
#define APPLIST_UI_LINEEDITOR_H

#include <cstddef>
#include <string>
#include <utility>

#include "Key.h"

namespace applist_ui {

class LineEditor {
 public:
  explicit LineEditor(std::wstring text) : m_text(std::move(text)), m_cursor(m_text.size()) {}

  const std::wstring& Text() const { return m_text; }
  std::wstring BeforeCursor() const { return m_text.substr(0, m_cursor); }
  std::wstring BehindCursor() const { return m_text.substr(m_cursor); }

  // Edits the line, as keys do in a shell. What is no key of an editor does nothing.
  void Press(Key key);

 private:
  size_t Before() const;
  size_t Behind() const;
  size_t StartOfWord() const;
  void EraseTo(size_t end);

  std::wstring m_text;
  size_t m_cursor;
};

}  // namespace applist_ui

#endif
