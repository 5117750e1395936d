// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "Panes.h"

#include <algorithm>
#include <vector>

#include "Text.h"

namespace applist_ui {

namespace {

// From this width on there is room for identifiers beside the names.
constexpr int kColumnsWithIds = 60;

void DrawRow(Screen& screen, int line, const Box& box, const ListRow& row, bool selected) {
  const Style style = selected ? Style::Selected : Style::Plain;
  const std::wstring marks = {selected ? L'>' : L' ', row.clicked ? L'*' : L' '};
  const int names = box.columns < kColumnsWithIds ? box.columns : box.columns * 3 / 5;
  screen.Put(line, box.column, names, marks + FirstCells(ShownName(row.name), names - 2), style);
  screen.Put(line, box.column + names, box.columns - names, L" " + Printable(row.id), style);
}

}  // namespace

void ListPane::Draw(Screen& screen, const Box& box, size_t count, size_t selected,
                    const std::function<ListRow(size_t)>& rowAt) {
  m_page = static_cast<size_t>(std::max(box.rows, 1));
  if (selected < count) {
    m_top = std::clamp(m_top, selected - std::min(selected, m_page - 1), selected);
  }
  m_top = std::min(m_top, count - std::min(count, m_page));
  for (int k = 0; k < box.rows && m_top + static_cast<size_t>(k) < count; ++k) {
    const size_t at = m_top + static_cast<size_t>(k);
    DrawRow(screen, box.row + k, box, rowAt(at), at == selected);
  }
}

void TextPane::Draw(Screen& screen, const Box& box, const std::deque<std::wstring>& lines) {
  std::vector<std::wstring> rows;
  for (const std::wstring& line : lines) {
    const std::vector<std::wstring> pieces = Wrapped(line, box.columns);
    rows.insert(rows.end(), pieces.begin(), pieces.end());
  }
  m_page = static_cast<size_t>(std::max(box.rows, 1));
  m_last = rows.size() - std::min(rows.size(), m_page);
  const size_t top = std::min(m_top.value_or(m_last), m_last);
  for (int k = 0; k < box.rows && top + static_cast<size_t>(k) < rows.size(); ++k) {
    screen.Put(box.row + k, box.column, box.columns, rows[top + static_cast<size_t>(k)]);
  }
}

void TextPane::Press(Key key) {
  const size_t top = std::min(m_top.value_or(m_last), m_last);
  switch (key) {
    case Key::Up:
      Scroll(top - std::min<size_t>(top, 1));
      break;
    case Key::Down:
    case Key::Enter:
      Scroll(top + 1);
      break;
    case Key::PageUp:
      Scroll(top - std::min(top, m_page));
      break;
    case Key::PageDown:
    case Key::Space:
      Scroll(top + m_page);
      break;
    case Key::Home:
      Scroll(0);
      break;
    case Key::End:
      Scroll(m_last);
      break;
    default:
      break;
  }
}

void TextPane::Scroll(size_t top) {
  m_top.reset();
  if (top < m_last) {
    m_top = top;
  }
}

}  // namespace applist_ui
