// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "LineEditor.h"

#include <algorithm>
#include <cwchar>

namespace applist_ui {

namespace {

bool IsMark(wchar_t c) {
  return c >= 0x80 && wcwidth(c) == 0;
}

}  // namespace

void LineEditor::Press(Key key) {
  switch (key) {
    case Key::Left:
    case Key::ControlB:
      m_cursor = Before();
      break;
    case Key::Right:
    case Key::ControlF:
      m_cursor = Behind();
      break;
    case Key::Home:
    case Key::ControlA:
      m_cursor = 0;
      break;
    case Key::End:
    case Key::ControlE:
      m_cursor = m_text.size();
      break;
    case Key::Backspace:
      EraseTo(Before());
      break;
    case Key::Delete:
    case Key::ControlD:
      EraseTo(Behind());
      break;
    case Key::ControlU:
      EraseTo(0);
      break;
    case Key::ControlK:
      EraseTo(m_text.size());
      break;
    case Key::ControlW:
      EraseTo(StartOfWord());
      break;
    default:
      if (IsCharacter(key)) {
        m_text.insert(m_cursor++, 1, CharacterOf(key));
      }
  }
}

// A character and the marks on it are passed as one.
size_t LineEditor::Before() const {
  size_t at = m_cursor;
  while (at > 0 && IsMark(m_text[--at])) {
  }
  return at;
}

size_t LineEditor::Behind() const {
  size_t at = std::min(m_cursor + 1, m_text.size());
  while (at < m_text.size() && IsMark(m_text[at])) {
    ++at;
  }
  return at;
}

size_t LineEditor::StartOfWord() const {
  size_t at = m_cursor;
  while (at > 0 && m_text[at - 1] == L' ') {
    --at;
  }
  while (at > 0 && m_text[at - 1] != L' ') {
    --at;
  }
  return at;
}

void LineEditor::EraseTo(size_t end) {
  const size_t from = std::min(m_cursor, end);
  m_text.erase(from, std::max(m_cursor, end) - from);
  m_cursor = from;
}

}  // namespace applist_ui
