// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/LinkRefusal.h"

// The one place of its type information, by which the library catches what a program throws.
LinkRefusal::~LinkRefusal() = default;
