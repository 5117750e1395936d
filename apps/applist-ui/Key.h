// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A key press.
#ifndef APPLIST_UI_KEY_H
#define APPLIST_UI_KEY_H

namespace applist_ui {

// A character is its own number; the keys that are none lie behind the last character. Unknown is
// what the terminal sends and nothing here is for.
enum class Key : char32_t {
  ControlA = 1,
  ControlB = 2,
  ControlD = 4,
  ControlE = 5,
  ControlF = 6,
  Tab = '\t',
  ControlK = 11,
  ControlL = 12,
  Enter = '\r',
  ControlU = 21,
  ControlW = 23,
  Escape = 0x1B,
  Space = ' ',
  Backspace = 0x7F,
  FirstOther = 0x110000,
  Up = FirstOther,
  Down,
  Left,
  Right,
  PageUp,
  PageDown,
  Home,
  End,
  Delete,
  Unknown
};

constexpr bool IsCharacter(Key key) {
  return key >= Key::Space && key < Key::FirstOther && key != Key::Backspace;
}

constexpr wchar_t CharacterOf(Key key) {
  return static_cast<wchar_t>(key);
}

}  // namespace applist_ui

#endif
