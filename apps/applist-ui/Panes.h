// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The parts of the screen that scroll.
#ifndef APPLIST_UI_PANES_H
#define APPLIST_UI_PANES_H

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "Key.h"
#include "Screen.h"

namespace applist_ui {

// A part of the screen, in cells.
struct Box {
  int row;
  int column;
  int rows;
  int columns;
};

// One row of a list, as the bytes that it stands for.
struct ListRow {
  std::string name;
  std::string id;
  bool clicked;
};

// A list of any length, of which only the rows that are seen are asked for.
class ListPane {
 public:
  // Scrolls so that `selected` is seen, which is the count where nothing is selected.
  void Draw(Screen& screen, const Box& box, size_t count, size_t selected,
            const std::function<ListRow(size_t)>& rowAt);

  // How many rows were seen last.
  size_t Page() const { return m_page; }

 private:
  size_t m_top = 0;
  size_t m_page = 1;
};

// Lines to read, wrapped.
class TextPane {
 public:
  // Starts at the end and follows what is added, or starts at the beginning.
  enum class Start { Beginning, End };
  explicit TextPane(Start start) {
    if (start == Start::Beginning) {
      m_top = 0;
    }
  }

  void Draw(Screen& screen, const Box& box, const std::deque<std::wstring>& lines);
  void Press(Key key);

 private:
  void Scroll(size_t top);

  // Nothing while the end is followed.
  std::optional<size_t> m_top;
  size_t m_page = 1;
  size_t m_last = 0;
};

}  // namespace applist_ui

#endif
