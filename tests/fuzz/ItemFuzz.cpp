// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Items out of arbitrary bytes, one after another, and any bytes as the texts of an item.
#include <sstream>
#include <string>

#include "applist/RemoteAppListItem.h"
#include "fuzz/Fuzz.h"
#include "support/PlainItem.h"
#include "support/TestItem.h"

using applist_fuzz::Expect;
using applist_test::DecodeFirst;
using applist_test::Plain;
using applist_test::PlainItem;

namespace {

std::string Written(const RemoteAppListItem& item) {
  std::ostringstream out;
  out << item;
  return out.str();
}

void ExpectRoundTrip(const PlainItem& texts) {
  applist_test::TestItem source(texts.name, texts.id);
  const RemoteAppListItem item(source);
  std::istringstream in(Written(item));
  RemoteAppListItem again;
  Expect(in >> again && in.good(), "what is written can be read");
  Expect(Plain(again) == texts, "what is written comes back");
  Expect(in.str() == Encode(texts), "the texts are written as they should be");
}

// Whether the data ends before the item does, and before anything is malformed.
bool IsCutShort(const std::string& rest) {
  const size_t nameEnd = rest.find('\n');
  return nameEnd == std::string::npos || (applist_test::DecodeField(rest.substr(0, nameEnd)) &&
                                          rest.find('\n', nameEnd + 1) == std::string::npos);
}

void ExpectFailure(const std::istringstream& in, const RemoteAppListItem& item,
                   const RemoteAppListItem& before, const std::string& rest) {
  Expect(!DecodeFirst(rest), "a well-formed item is read");
  Expect(in.fail() && !in.bad(), "a failure sets failbit");
  Expect(in.eof() == IsCutShort(rest), "a failure sets eofbit where the data ended");
  Expect(Plain(item) == Plain(before), "a failure leaves the item as it was");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes = applist_fuzz::Text(data, size);
  std::istringstream in(bytes);
  RemoteAppListItem item;
  for (size_t at = 0;;) {
    const RemoteAppListItem before = item;
    const std::string rest = bytes.substr(at);
    if (!(in >> item)) {
      ExpectFailure(in, item, before, rest);
      break;
    }
    const size_t end = static_cast<size_t>(in.tellg());
    Expect(in.good(), "the stream is good behind an item");
    Expect(DecodeFirst(rest) == Plain(item), "an item is read as it should be");
    Expect(Written(item) == bytes.substr(at, end - at), "an item is written as it was read");
    ExpectRoundTrip(Plain(item));
    at = end;
  }
  ExpectRoundTrip({bytes.substr(0, size / 2), bytes.substr(size / 2)});
  return 0;
}
