// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// decode: bytes of the link in words.
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "Commands.h"
#include "FrameText.h"
#include "Output.h"
#include "ShownText.h"

using nlohmann::ordered_json;

namespace {

std::string HexText(const std::vector<std::string>& words) {
  if (words.empty() || (words.size() == 1 && words.front() == "-")) {
    return {std::istreambuf_iterator<char>(std::cin), {}};
  }
  std::string text;
  for (const std::string& word : words) {
    text += word + ' ';
  }
  return text;
}

std::string Bytes(const std::vector<std::string>& words) {
  std::string bytes;
  try {
    bytes = BytesFromHex(HexText(words));
  } catch (const std::invalid_argument& error) {
    throw Failure(Status::Usage, std::string("cannot read the bytes: ") + error.what() +
                                     "; write them as in '4d 0a 6d 0a'");
  }
  if (bytes.empty()) {
    throw Failure(Status::Usage,
                  "there are no bytes to decode; give them in hexadecimal, as in '04 00 00 00'");
  }
  return bytes;
}

std::string Summary(const DecodedBytes& decoded, size_t bytes) {
  const size_t items = decoded.items.size();
  return (decoded.identifier ? "frame " + MessageText(*decoded.identifier) : "payload") + ", " +
         std::to_string(bytes) + " bytes, " + std::to_string(items) +
         (items == 1 ? " item" : " items");
}

void PrintWords(const DecodedBytes& decoded, size_t bytes) {
  PrintLine(Summary(decoded, bytes));
  std::vector<std::vector<std::string>> rows;
  for (RemoteAppListItem item : decoded.items) {
    rows.push_back({"  " + Shown(item.GetUnigueId()), Shown(item.GetVisibleName())});
  }
  for (const std::string& line : Aligned(rows)) {
    PrintLine(line);
  }
}

void PrintJson(const DecodedBytes& decoded) {
  ordered_json json = {{"kind", decoded.identifier ? "frame" : "payload"}};
  json["identifier"] = decoded.identifier ? ordered_json(*decoded.identifier) : ordered_json();
  json["message"] = decoded.identifier ? MessageName(*decoded.identifier) : ordered_json();
  json["items"] = ItemsJson(decoded.items);
  PrintLine(json);
}

}  // namespace

void Decode(const std::vector<std::string>& words, Format format) {
  const std::string bytes = Bytes(words);
  const DecodedBytes decoded = DecodeFrameOrPayload(bytes);
  if (!decoded.trouble.empty()) {
    throw Failure(Status::Refused,
                  std::string("the ") + (decoded.identifier ? "frame" : "payload") + " of " +
                      std::to_string(bytes.size()) + " bytes is malformed: " + decoded.trouble +
                      "; check that no byte is missing");
  }
  if (format == Format::Json) {
    PrintJson(decoded);
  } else {
    PrintWords(decoded, bytes.size());
  }
}
