// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The user interface: keys in, the model's operations and what is to be seen out.
#ifndef APPLIST_UI_APP_H
#define APPLIST_UI_APP_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "CapturedLog.h"
#include "Catalogue.h"
#include "LineEditor.h"
#include "Panes.h"
#include "RemoteView.h"
#include "Screen.h"
#include "applist/RemoteAppListModel.h"

namespace applist_ui {

class App : private ItemSelectionListener, private ItemClickListener {
 public:
  // Reads the applications of the machine, and puts them into the list. `end` is called when the
  // user wants to.
  App(Screen& screen, CapturedLog& log, std::function<void()> end);

  // Takes over what is installed now.
  void TakeApplications();

  // Takes the keys that wait.
  void ReadKeys();

  // The screen has another size, or others have drawn on it.
  void Redraw() { m_changed = true; }

  // Draws what has changed.
  void Update();

 private:
  enum class Mode { List, Find, Rename, AskEmpty, Help, Log };

  void ItemSelected(AppListModel* model) override;
  void ItemClicked(AppListModel* model) override;

  // Keys, by mode.
  void Press(Key key);
  void PressInList(Key key);
  void PressCommand(Key key);
  void PressInFind(Key key);
  void PressInRename(Key key);
  void PressInAskEmpty(Key key);
  void PressInText(Key key);
  bool Move(Key key);

  // What the keys do.
  void Select(size_t at);
  void Click();
  void BeginFind(Key first);
  void FindFrom(size_t start);
  void BeginRename();
  void Rename();
  void Remove();
  void AddAgain();
  void RemoveAll();
  void Open(Mode mode);

  bool HasSelection() const { return m_position < m_catalogue.Count() && m_selected; }
  std::wstring SelectedName() const;
  void TakeSelection();
  void Say(const std::wstring& event);
  void Say(std::function<std::wstring()> event);

  // What is seen, from the top.
  void Draw();
  void DrawTitles(int left, int right);
  void DrawBody();
  void DrawRemote(const Box& box);
  void DrawStatus();
  void DrawPrompt();
  void DrawEditor(const std::wstring& prompt, const std::wstring& behind);
  std::wstring RemoteTitle(int cells);
  std::wstring RemoteName(const std::string& id) const;
  bool IsInStep();
  size_t RemoteSelected();

  Screen& m_screen;
  CapturedLog& m_log;
  const std::function<void()> m_end;

  Mode m_mode = Mode::List;
  LineEditor m_editor{std::wstring()};
  // Whether there is what the user wants to find.
  bool m_found = true;
  TextPane m_text{TextPane::Start::Beginning};
  ListPane m_here;
  ListPane m_there;
  // The selected place; where nothing is selected, the one from which the next key moves.
  size_t m_position = 0;
  bool m_selected = false;
  std::string m_clicked;
  std::function<std::wstring()> m_event;
  bool m_changed = true;

  // The last comparison of both lists, and where the remote selection was.
  unsigned m_comparedHere = 0;
  unsigned m_comparedThere = 0;
  bool m_equal = false;
  size_t m_remoteSelected = 0;

  RemoteView m_remote;
  Catalogue m_catalogue;
  // Last, so that it is gone before the items that it borrows.
  RemoteAppListModel m_model;
};

}  // namespace applist_ui

#endif
