// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The terminal.
#ifndef APPLIST_UI_SCREEN_H
#define APPLIST_UI_SCREEN_H

#include <termios.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "CrashGuard.h"
#include "Key.h"

struct screen;

namespace applist_ui {

enum class Style { Plain, Bold, Faint, Title, Selected, Good, Attention, Alarm };

// A terminal on standard input and standard output that shows the program while this object is
// there, and is as it was before afterwards, however the program ends. What is put on it is seen
// with the next Show.
class Screen {
 public:
  // Throws std::runtime_error where there is no terminal, or one that cannot be used.
  Screen();
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  int Rows() const;
  int Columns() const;

  // Takes over the terminal's present size.
  void Resize();

  // The next key that was pressed; nothing when none waits.
  std::optional<Key> ReadKey();

  void Clear();

  // Puts printable text into so many cells, cut or followed by blanks.
  void Put(int row, int column, int cells, const std::wstring& text, Style style = Style::Plain);

  // A line down from `row`.
  void PutDivider(int row, int column, int rows);

  // Where the cursor is to be seen with the next Show; otherwise it is hidden.
  void PutCursor(int row, int column);

  void Show();

  // Gives the terminal to others, and takes it again. Whatever they leave on it is drawn over.
  void Leave();
  void Return();

 private:
  struct DeleteScreen {
    void operator()(screen* terminal) const;
  };

  unsigned AttributesOf(Style style) const;
  void Begin();

  termios m_settings = {};
  std::unique_ptr<screen, DeleteScreen> m_screen;
  std::optional<CrashGuard> m_guard;
  bool m_colours = false;
  std::optional<std::pair<int, int>> m_cursor;
};

}  // namespace applist_ui

#endif
