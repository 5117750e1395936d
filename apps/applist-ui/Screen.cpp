// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "Screen.h"

#define NCURSES_NOMACROS
#define NCURSES_WIDECHAR 1
#include <curses.h>
#include <sys/ioctl.h>
#include <term.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "Text.h"

namespace applist_ui {

namespace {

// For how long the terminal may take to send what follows an escape, in milliseconds.
constexpr int kEscapeDelay = 25;
constexpr wchar_t kLine = 0x2502;

enum Colour : short { kGood = 1, kAttention, kAlarm };

std::string* g_collected = nullptr;

int Collect(int byte) {
  *g_collected += static_cast<char>(byte);
  return byte;
}

std::string TerminalType() {
  const char* type = std::getenv("TERM");
  return type != nullptr ? type : "";
}

// Whether this is a text of the terminal's description, and not the lack of one.
bool IsCapability(const char* text) {
  return text != nullptr && reinterpret_cast<intptr_t>(text) != -1;
}

// What brings this terminal back to its usual ways, byte by byte.
std::string RestoringSequence() {
  std::string sequence;
  g_collected = &sequence;
  for (const char* name : {"sgr0", "op", "rmkx", "cnorm", "rmcup"}) {
    const char* text = tigetstr(name);
    if (IsCapability(text)) {
      tputs(text, 1, Collect);
    }
  }
  g_collected = nullptr;
  return sequence + "\r\n";
}

bool WantsColours() {
  const char* no = std::getenv("NO_COLOR");
  return (no == nullptr || *no == '\0') && has_colors();
}

// The keys before one that stops or ends the program count as well.
void KeepTypedAhead() {
  termios settings = {};
  if (tcgetattr(STDOUT_FILENO, &settings) == 0) {
    settings.c_lflag |= NOFLSH;
    tcsetattr(STDOUT_FILENO, TCSADRAIN, &settings);
    def_prog_mode();
  }
}

// What most terminals send, also where their description does not say so.
void DefineKeys() {
  constexpr struct {
    const char* sequence;
    int code;
  } kKeys[] = {{"\x1b[A", KEY_UP},     {"\x1bOA", KEY_UP},    {"\x1b[B", KEY_DOWN},
               {"\x1bOB", KEY_DOWN},   {"\x1b[C", KEY_RIGHT}, {"\x1bOC", KEY_RIGHT},
               {"\x1b[D", KEY_LEFT},   {"\x1bOD", KEY_LEFT},  {"\x1b[H", KEY_HOME},
               {"\x1bOH", KEY_HOME},   {"\x1b[1~", KEY_HOME}, {"\x1b[F", KEY_END},
               {"\x1bOF", KEY_END},    {"\x1b[4~", KEY_END},  {"\x1b[5~", KEY_PPAGE},
               {"\x1b[6~", KEY_NPAGE}, {"\x1b[3~", KEY_DC}};
  for (const auto& key : kKeys) {
    define_key(key.sequence, key.code);
  }
}

Key KeyOf(wint_t code) {
  switch (code) {
    case KEY_UP:
      return Key::Up;
    case KEY_DOWN:
      return Key::Down;
    case KEY_LEFT:
      return Key::Left;
    case KEY_RIGHT:
      return Key::Right;
    case KEY_PPAGE:
      return Key::PageUp;
    case KEY_NPAGE:
      return Key::PageDown;
    case KEY_HOME:
      return Key::Home;
    case KEY_END:
      return Key::End;
    case KEY_DC:
      return Key::Delete;
    case KEY_BACKSPACE:
      return Key::Backspace;
    case KEY_ENTER:
      return Key::Enter;
    case KEY_BTAB:
      return Key::Tab;
    default:
      return Key::Unknown;
  }
}

// Terminals differ in what these two keys send.
Key KeyOfCharacter(wint_t character) {
  if (character == '\n') {
    return Key::Enter;
  }
  return character == '\b' ? Key::Backspace : static_cast<Key>(character);
}

}  // namespace

void Screen::DeleteScreen::operator()(screen* terminal) const {
  endwin();
  delscreen(terminal);
}

Screen::Screen() {
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0 ||
      tcgetattr(STDOUT_FILENO, &m_settings) != 0) {
    throw std::runtime_error("standard input and standard output have to be a terminal");
  }
  m_screen.reset(newterm(nullptr, stdout, stdin));
  if (m_screen == nullptr) {
    throw std::runtime_error("nothing is known about terminals of the type '" + TerminalType() +
                             "'; set TERM");
  }
  if (!IsCapability(tigetstr("cup"))) {
    throw std::runtime_error("terminals of the type '" + TerminalType() +
                             "' cannot place the cursor; set TERM");
  }
  m_guard.emplace(RestoringSequence(), m_settings);
  Begin();
}

Screen::~Screen() {
  m_guard.reset();
}

void Screen::Begin() {
  cbreak();
  noecho();
  nonl();
  KeepTypedAhead();
  curs_set(0);
  set_escdelay(kEscapeDelay);
  nodelay(stdscr, true);
  keypad(stdscr, true);
  DefineKeys();
  meta(stdscr, true);
  // What is drawn is drawn to its end, also when more keys wait.
  typeahead(-1);
  m_colours = WantsColours();
  if (m_colours) {
    start_color();
    use_default_colors();
    init_pair(kGood, COLOR_GREEN, -1);
    init_pair(kAttention, COLOR_YELLOW, -1);
    init_pair(kAlarm, COLOR_RED, -1);
  }
}

int Screen::Rows() const {
  return getmaxy(stdscr);
}

int Screen::Columns() const {
  return getmaxx(stdscr);
}

void Screen::Resize() {
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0) {
    resizeterm(size.ws_row, size.ws_col);
  }
  clearok(curscr, true);
}

std::optional<Key> Screen::ReadKey() {
  wint_t code = 0;
  switch (wget_wch(stdscr, &code)) {
    case OK:
      return KeyOfCharacter(code);
    case KEY_CODE_YES:
      return KeyOf(code);
    default:
      return std::nullopt;
  }
}

void Screen::Clear() {
  werase(stdscr);
  m_cursor.reset();
}

unsigned Screen::AttributesOf(Style style) const {
  const auto coloured = [this](Colour colour) {
    return m_colours ? static_cast<unsigned>(COLOR_PAIR(colour)) : 0U;
  };
  switch (style) {
    case Style::Bold:
      return A_BOLD;
    case Style::Faint:
      return A_DIM;
    case Style::Title:
      return A_REVERSE | A_BOLD;
    case Style::Selected:
      return A_REVERSE;
    case Style::Good:
      return A_BOLD | coloured(kGood);
    case Style::Attention:
      return A_BOLD | coloured(kAttention);
    case Style::Alarm:
      return A_BOLD | A_REVERSE | coloured(kAlarm);
    case Style::Plain:
      break;
  }
  return A_NORMAL;
}

void Screen::Put(int row, int column, int cells, const std::wstring& text, Style style) {
  cells = std::min(cells, Columns() - column);
  if (row < 0 || row >= Rows() || cells <= 0) {
    return;
  }
  std::wstring shown = FirstCells(text, cells);
  shown.append(static_cast<size_t>(cells - CellsOf(shown)), L' ');
  wattrset(stdscr, static_cast<int>(AttributesOf(style)));
  mvwaddwstr(stdscr, row, column, shown.c_str());
  wattrset(stdscr, A_NORMAL);
}

void Screen::PutDivider(int row, int column, int rows) {
  const wchar_t line[] = {IsInCharset(kLine) ? kLine : L'|', L'\0'};
  for (int k = 0; k < rows; ++k) {
    mvwaddwstr(stdscr, row + k, column, line);
  }
}

void Screen::PutCursor(int row, int column) {
  m_cursor.emplace(row, std::min(column, Columns() - 1));
}

void Screen::Show() {
  curs_set(m_cursor ? 1 : 0);
  if (m_cursor) {
    wmove(stdscr, m_cursor->first, m_cursor->second);
  }
  wrefresh(stdscr);
}

void Screen::Leave() {
  endwin();
  CrashGuard::Arm(false);
}

void Screen::Return() {
  CrashGuard::Arm(true);
  Resize();
  wrefresh(stdscr);
  // At once, and not only with the next key, which would then be misread.
  keypad(stdscr, true);
}

}  // namespace applist_ui
