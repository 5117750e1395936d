# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
# Makes the comments of a header those that the reference is made of. The one at the top, where the
# license stands, is about the file.
s|^// SPDX-FileCopyrightText.*|/// @file|
s|^// SPDX-License-Identifier.*|///|
s|^ \* SPDX-FileCopyrightText.*| * @file|
s|^ \* SPDX-License-Identifier.*| *|
s|^( *)//( .*)?$|\1///\2|
s|^( *)/\*( .*)?$|\1/**\2|
