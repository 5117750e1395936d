// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "App.h"

#include <algorithm>
#include <deque>
#include <utility>

#include "Text.h"
#include "desktop/DesktopApplications.h"

namespace applist_ui {

namespace {

// So many keys at most before the screen shows what came of them.
constexpr int kMostKeys = 64;

constexpr int kLeastColumnsForTwo = 30;

const std::deque<std::wstring>& HelpText() {
  static const std::deque<std::wstring> text = {
      L"On the left are the applications of this machine, on the right what the",
      L"remote side holds. > is the selection, * what was clicked last.",
      L"",
      L"  Up, Down, Page Up, Page Down, Home, End   move the selection",
      L"  Enter        click the selected entry",
      L"  /            find: type a part of a name, Tab goes to the next one,",
      L"               Esc or an arrow key ends it; any letter or digit that is",
      L"               no command starts it, too",
      L"  r            rename the entry in the list",
      L"  d            remove it",
      L"  a            add again what was removed last, at the end",
      L"  x            remove all entries",
      L"  l            the log of this program",
      L"  ?            this page",
      L"  q, Ctrl-C    quit",
      L"",
      L"The last line but one says how the link is:",
      L"  connected    both sides have met",
      L"  waiting      there is no bus, or no remote side: the list works here,",
      L"               and is sent when there is",
      L"  hung         the remote side is there and does not answer: what is done",
      L"               meanwhile is sent in order",
      L"",
      L"Esc or q leaves this page."};
  return text;
}

std::wstring Number(size_t count, const wchar_t* one, const wchar_t* many) {
  return std::to_wstring(count) + L" " + (count == 1 ? one : many);
}

struct LinkWords {
  const wchar_t* text;
  Style style;
};

LinkWords WordsFor(RemoteView::Link link, std::optional<bool> direct) {
  switch (link) {
    case RemoteView::Link::NoBus:
      return {L"waiting for a bus", Style::Attention};
    case RemoteView::Link::Taken:
      return {L"waiting: another user interface is connected", Style::Attention};
    case RemoteView::Link::Nobody:
      return {L"waiting for the remote side", Style::Attention};
    case RemoteView::Link::Hung:
      return {L"hung", Style::Alarm};
    case RemoteView::Link::Connected:
      break;
  }
  if (!direct) {
    return {L"connected", Style::Good};
  }
  return {*direct ? L"connected, direct line" : L"connected, by the bus", Style::Good};
}

}  // namespace

App::App(Screen& screen, CapturedLog& log, std::function<void()> end)
    : m_screen(screen),
      m_log(log),
      m_end(std::move(end)),
      m_remote({[this] { m_changed = true; },
                [this](const std::string& id) {
                  Say(L"The remote side has started " + RemoteName(id));
                }}),
      m_catalogue(m_model) {
  m_model.AddItemSelectionListener(this);
  m_model.AddItemClickedListener(this);
  // A long list takes its time.
  Say(L"Reading the applications");
  Update();
  TakeApplications();
  Select(0);
}

void App::TakeApplications() {
  const Catalogue::Changes changes = m_catalogue.Update(applist::InstalledApplications());
  if (changes.added + changes.removed + changes.renamed > 0) {
    Say(L"Installed: " + std::to_wstring(changes.added) + L" new, " +
        std::to_wstring(changes.removed) + L" gone, " + std::to_wstring(changes.renamed) +
        L" renamed");
  }
  TakeSelection();
  m_remote.Probe();
}

// What the remote side says. Its words and its control interface travel on two ways: what is shown
// is what is known when it is drawn.

// What a key has done before is answered as well, and is no event of its own.
void App::ItemSelected(AppListModel* /*model*/) {
  const bool wasSelected = m_selected;
  const size_t position = m_position;
  TakeSelection();
  if (m_selected != wasSelected || m_position != position) {
    Say([this] {
      return L"Selected on the remote side: " + (m_selected ? SelectedName() : L"nothing");
    });
  }
}

void App::ItemClicked(AppListModel* /*model*/) {
  Say([this] {
    return L"Clicked on the remote side: " + RemoteName(m_remote.Holds().lastClicked);
  });
}

void App::Say(const std::wstring& event) {
  Say([event] { return event; });
}

void App::Say(std::function<std::wstring()> event) {
  m_event = std::move(event);
  m_changed = true;
}

// Keys

void App::ReadKeys() {
  for (int count = 0; count < kMostKeys; ++count) {
    const std::optional<Key> key = m_screen.ReadKey();
    if (!key) {
      return;
    }
    Press(*key);
    m_changed = true;
  }
}

void App::Press(Key key) {
  switch (m_mode) {
    case Mode::List:
      return PressInList(key);
    case Mode::Find:
      return PressInFind(key);
    case Mode::Rename:
      return PressInRename(key);
    case Mode::AskEmpty:
      return PressInAskEmpty(key);
    case Mode::Help:
    case Mode::Log:
      return PressInText(key);
  }
}

void App::PressInList(Key key) {
  if (Move(key)) {
    return;
  }
  switch (key) {
    case Key::Enter:
      return Click();
    case Key::ControlL:
      return m_screen.Resize();
    default:
      return PressCommand(key);
  }
}

void App::PressCommand(Key key) {
  switch (static_cast<char32_t>(key)) {
    case U'r':
      return BeginRename();
    case U'd':
      return Remove();
    case U'a':
      return AddAgain();
    case U'x':
      if (m_catalogue.Count() > 0) {
        m_mode = Mode::AskEmpty;
      }
      return;
    case U'?':
      return Open(Mode::Help);
    case U'l':
      return Open(Mode::Log);
    case U'q':
      return m_end();
    default:
      return BeginFind(key);
  }
}

// Where nothing is selected, any of these keys selects the place that was left.
bool App::Move(Key key) {
  const size_t count = m_catalogue.Count();
  const size_t page = m_here.Page();
  const size_t last = count - std::min<size_t>(count, 1);
  const size_t from = std::min(m_position, last);
  const size_t one = m_selected ? 1 : 0;
  switch (key) {
    case Key::Up:
      Select(from - std::min(from, one));
      return true;
    case Key::Down:
      Select(std::min(from + one, last));
      return true;
    case Key::PageUp:
      Select(from - std::min(from, page));
      return true;
    case Key::PageDown:
      Select(std::min(from + page, last));
      return true;
    case Key::Home:
      Select(0);
      return true;
    case Key::End:
      Select(last);
      return true;
    default:
      return false;
  }
}

void App::Select(size_t at) {
  if (at < m_catalogue.Count()) {
    m_position = at;
    m_catalogue.Select(at);
    m_remote.Probe();
  }
  TakeSelection();
}

void App::TakeSelection() {
  const size_t selected = m_catalogue.Selected(m_position);
  m_selected = selected < m_catalogue.Count();
  if (m_selected) {
    m_position = selected;
  }
}

std::wstring App::SelectedName() const {
  return ShownName(m_catalogue.NameAt(m_position));
}

void App::Click() {
  if (!HasSelection()) {
    return Say(L"Nothing is selected");
  }
  m_clicked = m_catalogue.IdAt(m_position);
  Say(L"You clicked " + SelectedName());
  m_catalogue.Click(m_position);
  m_remote.Probe();
}

void App::BeginFind(Key first) {
  const bool slash = first == static_cast<Key>('/');
  if (!IsCharacter(first) || first == Key::Space) {
    return;
  }
  m_mode = Mode::Find;
  m_found = true;
  m_editor = LineEditor(slash ? std::wstring() : std::wstring(1, CharacterOf(first)));
  FindFrom(m_position);
}

void App::PressInFind(Key key) {
  const bool emptied = key == Key::Backspace && m_editor.Text().empty();
  if (key == Key::Escape || emptied || Move(key)) {
    m_mode = Mode::List;
  } else if (key == Key::Enter) {
    m_mode = Mode::List;
    if (m_found) {
      Click();
    }
  } else if (key == Key::Tab) {
    FindFrom(m_position + 1);
  } else {
    m_editor.Press(key);
    FindFrom(m_position);
  }
}

void App::FindFrom(size_t start) {
  const std::string text = Encode(m_editor.Text());
  const size_t at = text.empty() ? m_position : m_catalogue.Find(text, start);
  m_found = text.empty() || at < m_catalogue.Count();
  if (m_found && !text.empty()) {
    Select(at);
  }
}

void App::BeginRename() {
  if (!HasSelection()) {
    return Say(L"Nothing is selected");
  }
  m_mode = Mode::Rename;
  m_editor = LineEditor(Decode(m_catalogue.NameAt(m_position)));
}

void App::PressInRename(Key key) {
  if (key == Key::Escape) {
    m_mode = Mode::List;
  } else if (key == Key::Enter) {
    m_mode = Mode::List;
    Rename();
  } else {
    m_editor.Press(key);
  }
}

// The remote side may have cleared the selection meanwhile.
void App::Rename() {
  if (!HasSelection()) {
    return Say(L"Nothing is selected any more");
  }
  m_catalogue.Rename(m_position, Encode(m_editor.Text()));
  Say(L"Renamed to " + SelectedName());
  TakeSelection();
  m_remote.Probe();
}

// The next entry is selected, so that one key after the other removes one entry after the other.
void App::Remove() {
  if (!HasSelection()) {
    return Say(L"Nothing is selected");
  }
  Say(L"Removed " + SelectedName() + L"; a adds it again");
  m_catalogue.Remove(m_position);
  const size_t count = m_catalogue.Count();
  Select(std::min(m_position, count - std::min<size_t>(count, 1)));
  m_remote.Probe();
}

void App::AddAgain() {
  const size_t added = m_catalogue.AddAgain();
  if (added == 0) {
    return Say(L"Nothing was removed");
  }
  Say(L"Added " + Number(added, L"entry", L"entries") + L" again");
  Select(m_catalogue.Count() - added);
}

void App::PressInAskEmpty(Key key) {
  m_mode = Mode::List;
  if (key == static_cast<Key>('y') || key == static_cast<Key>('Y')) {
    RemoveAll();
  }
}

void App::RemoveAll() {
  Say(L"Removed all entries; a adds them again");
  m_catalogue.RemoveAll();
  TakeSelection();
  m_position = 0;
  m_remote.Probe();
}

void App::Open(Mode mode) {
  m_mode = mode;
  m_text = TextPane(mode == Mode::Help ? TextPane::Start::Beginning : TextPane::Start::End);
}

void App::PressInText(Key key) {
  const bool closes = key == Key::Escape || key == static_cast<Key>('q') ||
                      key == static_cast<Key>(m_mode == Mode::Help ? '?' : 'l');
  if (closes) {
    m_mode = Mode::List;
  } else {
    m_text.Press(key);
  }
}

// What is seen

void App::Update() {
  if (m_log.Collect()) {
    m_changed = true;
  }
  if (m_changed) {
    m_changed = false;
    Draw();
  }
}

void App::Draw() {
  m_screen.Clear();
  if (m_mode == Mode::Help || m_mode == Mode::Log) {
    const bool help = m_mode == Mode::Help;
    m_screen.Put(0, 0, m_screen.Columns(), help ? L" Help" : L" Log", Style::Title);
    m_text.Draw(m_screen, {1, 0, m_screen.Rows() - 3, m_screen.Columns()},
                help ? HelpText() : m_log.Lines());
  } else {
    DrawBody();
  }
  DrawStatus();
  DrawPrompt();
  m_screen.Show();
}

void App::DrawBody() {
  const bool both = m_screen.Columns() >= kLeastColumnsForTwo;
  const int left = both ? (m_screen.Columns() - 1) / 2 : m_screen.Columns();
  const int right = both ? m_screen.Columns() - left - 1 : 0;
  const int rows = m_screen.Rows() - 3;
  DrawTitles(left, right);
  m_here.Draw(m_screen, {1, 0, rows, left}, m_catalogue.Count(),
              m_selected ? m_position : m_catalogue.Count(), [this](size_t at) {
                const std::string id = m_catalogue.IdAt(at);
                return ListRow{m_catalogue.NameAt(at), id, id == m_clicked};
              });
  if (both) {
    m_screen.PutDivider(1, left, rows);
    DrawRemote({1, left + 1, rows, right});
  }
}

void App::DrawTitles(int left, int right) {
  m_screen.Put(0, 0, m_screen.Columns(), std::wstring(), Style::Title);
  m_screen.Put(0, 0, left, L" Applications: " + std::to_wstring(m_catalogue.Count()), Style::Title);
  m_screen.Put(0, left + 1, right, RemoteTitle(right), Style::Title);
}

// As many words as there is room for; how it stands is the last to go.
std::wstring App::RemoteTitle(int cells) {
  if (!m_remote.IsKnown()) {
    return L" Remote side";
  }
  const std::wstring state =
      std::to_wstring(m_remote.Holds().items.size()) + (m_remote.IsOld() ? L", OLD"
                                                        : IsInStep()     ? L", in step"
                                                                         : L", differs");
  for (const wchar_t* title : {L" Remote side: ", L" Remote: "}) {
    if (CellsOf(title + state) <= cells) {
      return title + state;
    }
  }
  return L" " + state;
}

void App::DrawRemote(const Box& box) {
  if (m_remote.IsKnown()) {
    const applist::ControlClient::State& holds = m_remote.Holds();
    m_there.Draw(m_screen, box, holds.items.size(), RemoteSelected(), [&holds](size_t at) {
      const auto& [id, name] = holds.items[at];
      return ListRow{name, id, id == holds.lastClicked};
    });
    return;
  }
  const bool there =
      m_remote.State() == RemoteView::Link::Connected || m_remote.State() == RemoteView::Link::Hung;
  const std::wstring text = there ? L"It has not said yet what it holds."
                                  : L"There is no remote side. The list works here, and is sent "
                                    L"when one comes.";
  int row = box.row;
  for (const std::wstring& piece : Wrapped(text, box.columns - 2)) {
    if (row < box.row + box.rows) {
      m_screen.Put(row++, box.column + 1, box.columns - 1, piece, Style::Faint);
    }
  }
}

// Lists are compared only when one of them has changed: they can be long.
bool App::IsInStep() {
  const auto& items = m_remote.Holds().items;
  if (m_comparedHere != m_catalogue.Version() || m_comparedThere != m_remote.Version()) {
    m_comparedHere = m_catalogue.Version();
    m_comparedThere = m_remote.Version();
    m_equal = items.size() == m_catalogue.Count();
    for (size_t at = 0; m_equal && at < items.size(); ++at) {
      m_equal =
          items[at].first == m_catalogue.IdAt(at) && items[at].second == m_catalogue.NameAt(at);
    }
  }
  return m_equal &&
         m_remote.Holds().selection == (m_selected ? m_catalogue.IdAt(m_position) : std::string());
}

// It is where it was, or where it is here, as a rule.
size_t App::RemoteSelected() {
  const auto& items = m_remote.Holds().items;
  const std::string& id = m_remote.Holds().selection;
  for (const size_t hint : {m_remoteSelected, m_position}) {
    if (hint < items.size() && items[hint].first == id) {
      return m_remoteSelected = hint;
    }
  }
  const auto found = std::find_if(items.begin(), items.end(),
                                  [&id](const auto& item) { return item.first == id; });
  return m_remoteSelected = static_cast<size_t>(found - items.begin());
}

std::wstring App::RemoteName(const std::string& id) const {
  const auto& items = m_remote.Holds().items;
  const auto found = std::find_if(items.begin(), items.end(),
                                  [&id](const auto& item) { return item.first == id; });
  return ShownName(found != items.end() ? found->second : id);
}

void App::DrawStatus() {
  const LinkWords link = WordsFor(m_remote.State(), m_remote.IsDirect());
  const std::wstring state = std::wstring(L" ") + link.text + L" ";
  const int cells = std::min(CellsOf(state), m_screen.Columns());
  const int row = m_screen.Rows() - 2;
  m_screen.Put(row, 0, cells, state, link.style);
  m_screen.Put(row, cells, m_screen.Columns() - cells, m_event ? L"| " + m_event() : L"");
}

void App::DrawPrompt() {
  const int row = m_screen.Rows() - 1;
  switch (m_mode) {
    case Mode::Find:
      return DrawEditor(L"Find: ",
                        m_found ? L"   Tab next  Enter click  Esc done" : L"   no such name");
    case Mode::Rename:
      return DrawEditor(L"New name: ", L"");
    case Mode::AskEmpty:
      m_screen.Put(row, 0, m_screen.Columns(),
                   L"Remove " + Number(m_catalogue.Count(), L"entry", L"entries") + L"? y/n",
                   Style::Bold);
      return;
    case Mode::Help:
    case Mode::Log:
      m_screen.Put(row, 0, m_screen.Columns(), L"Esc close  Up, Down, Page Up, Page Down scroll");
      return;
    case Mode::List:
      m_screen.Put(row, 0, m_screen.Columns(),
                   L"? help  q quit  Enter click  / find  r rename  d remove  a add  x empty  "
                   L"l log");
  }
}

// The cursor is always seen: what does not fit before it is cut.
void App::DrawEditor(const std::wstring& prompt, const std::wstring& behind) {
  const int start = CellsOf(prompt);
  const int cells = m_screen.Columns() - start;
  const int row = m_screen.Rows() - 1;
  const std::wstring before = LastCells(Printable(m_editor.BeforeCursor()), cells - 1);
  m_screen.Put(row, 0, start, prompt, Style::Bold);
  m_screen.Put(row, start, cells, before + Printable(m_editor.BehindCursor()) + behind);
  m_screen.PutCursor(row, start + CellsOf(before));
}

}  // namespace applist_ui
