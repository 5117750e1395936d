// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The commands of the program. Each writes to standard output what it was asked for, and throws
// Failure when it could not do it.
#ifndef APPLIST_APPLISTCTL_COMMANDS_H
#define APPLIST_APPLISTCTL_COMMANDS_H

#include <string>
#include <vector>

#include "Follower.h"

// As what to write it.
enum class Format { Text, Json };

// The items of the remote side; of each item everything, or the identifier alone.
enum class ListContent { Items, Identifiers };
void List(ListContent content, Format format);

// Has the remote side select or click an item, by its identifier as it is shown.
void Select(const std::string& id, Format format);
void Click(const std::string& id, Format format);

// Both ends of the link, and what the remote side holds. Throws when all that is known is written.
void ShowStatus(Format format);

// What happens, one line for each event.
void Watch(const FollowOptions& options, Format format);

// A frame or a payload in words. The words are in hexadecimal; "-" alone, or none, stands for what
// comes on standard input.
void Decode(const std::vector<std::string>& words, Format format);

// The frames on the link, one line each, as a monitor of the bus.
void Capture(const FollowOptions& options, Format format);

#endif
