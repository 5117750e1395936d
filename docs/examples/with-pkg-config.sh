# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
# PKG_CONFIG_PATH is where applist.pc is.
g++ -std=c++17 user-interface.cpp $(pkg-config --cflags --libs applist) -o user-interface
