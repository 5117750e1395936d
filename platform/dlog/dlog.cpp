// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The platform log on a Linux machine. A line becomes one record of the systemd journal where
// standard error is the journal, and one write to standard error everywhere else.
#include <dlog.h>

// A record names our caller's place in the source, so the library must not add this one.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <poll.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

// A caller's errno is its own; and its format may hold %m, which shows it.
class KeepErrno {
 public:
  KeepErrno() = default;
  ~KeepErrno() { errno = m_kept; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  const int m_kept = errno;
};

const char* OrEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

// ---- Priorities

struct Level {
  std::string_view name;
  const char* journalPriority;
  int priority;
  char letter;
};

constexpr Level kLevels[] = {{"debug", "7", DLOG_DEBUG, 'D'},
                             {"info", "6", DLOG_INFO, 'I'},
                             {"warn", "4", DLOG_WARN, 'W'},
                             {"error", "3", DLOG_ERROR, 'E'}};

int ThresholdFromEnvironment() {
  const std::string_view name = OrEmpty(std::getenv("APPLIST_LOG"));
  for (const Level& level : kLevels) {
    if (level.name == name) {
      return level.priority;
    }
  }
  return name == "off" ? DLOG_ERROR + 1 : static_cast<int>(DLOG_WARN);
}

// A priority beyond the known ones is a most or a least urgent one.
const Level& LevelOf(int priority) {
  return kLevels[std::clamp<int>(priority, DLOG_DEBUG, DLOG_ERROR) - DLOG_DEBUG];
}

// ---- Lines

struct Line {
  const Level& level;
  const char* tag;
  const char* format;
  va_list arguments;
};

// ---- Text

struct Character {
  char32_t code;
  std::size_t size;  // in bytes; 0 where there is no character
};

// The size of a character in UTF-8 (RFC 3629) that starts with this byte; 0 where none does.
std::size_t SizeFrom(unsigned char lead) {
  if (lead < 0x80) {
    return 1;
  }
  if (lead < 0xC2 || lead > 0xF4) {
    return 0;
  }
  return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// Whether a character may be written in so many bytes: in no more than it needs, and not at all as
// half of a surrogate pair.
bool IsWellFormed(char32_t code, std::size_t size) {
  switch (size) {
    case 3:
      return code >= 0x800 && (code < 0xD800 || code > 0xDFFF);
    case 4:
      return code >= 0x10000 && code <= 0x10FFFF;
    default:
      return true;
  }
}

Character FirstCharacter(std::string_view text) {
  const auto byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const std::size_t size = SizeFrom(byte(0));
  if (size == 0 || size > text.size()) {
    return {};
  }
  char32_t code = size == 1 ? byte(0) : byte(0) & (0x7Fu >> size);
  for (std::size_t at = 1; at < size; ++at) {
    if ((byte(at) & 0xC0u) != 0x80) {
      return {};
    }
    code = code << 6 | (byte(at) & 0x3Fu);
  }
  return IsWellFormed(code, size) ? Character{code, size} : Character{};
}

// Whether a character acts on the terminal, ends a line for some reader, or turns the direction of
// the text behind it, instead of showing itself.
bool IsControl(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code <= 0x9F) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

void AppendEscape(std::string& output, unsigned char byte) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  switch (byte) {
    case '\n':
      output += "\\n";
      break;
    case '\r':
      output += "\\r";
      break;
    case '\t':
      output += "\\t";
      break;
    default:
      output += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0x0F]};
  }
}

// A backslash stays as it is: lines are for reading, and most of them hold no escape.
void AppendVisible(std::string& output, std::string_view text) {
  while (!text.empty()) {
    const Character first = FirstCharacter(text);
    const std::string_view bytes = text.substr(0, std::max<std::size_t>(first.size, 1));
    if (first.size > 0 && !IsControl(first.code)) {
      output += bytes;
    } else {
      for (const char byte : bytes) {
        AppendEscape(output, static_cast<unsigned char>(byte));
      }
    }
    text.remove_prefix(bytes.size());
  }
}

struct Free {
  void operator()(char* memory) const { std::free(memory); }
};

// Throws where the text cannot be formatted, for lack of memory as a rule.
void AppendFormatted(std::string& output, const char* format, va_list arguments) {
  char* formatted = nullptr;
  const int size = vasprintf(&formatted, format, arguments);
  if (size < 0) {
    throw std::runtime_error("vasprintf");
  }
  const std::unique_ptr<char, Free> owner(formatted);
  std::string_view text(formatted, static_cast<std::size_t>(size));
  if (!text.empty() && text.back() == '\n') {
    text.remove_suffix(1);
  }
  AppendVisible(output, text);
}

// ---- Standard error

void AppendLocalTime(std::string& output) {
  const KeepErrno kept;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char text[64];
  const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  std::snprintf(text + size, sizeof text - size, ".%03d", static_cast<int>(now.tv_nsec / 1000000));
  output += text;
}

// A descriptor that does not block is waited for: it is some other user of the same terminal or
// pipe, as a rule, who made it so.
void AwaitRoom() {
  pollfd room = {STDERR_FILENO, POLLOUT, 0};
  poll(&room, 1, -1);
}

// One write, and more only where the kernel took a part. A pipe takes what is longer than PIPE_BUF
// in parts, between which it lets other writers in: the mutex keeps out the threads of this
// process. SIGPIPE is left to the program, as with everything else that it writes to standard
// error.
std::size_t WriteWhole(std::string_view text) {
  static std::mutex turn;
  const std::lock_guard<std::mutex> lock(turn);
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = write(STDERR_FILENO, text.data() + written, text.size() - written);
    if (count > 0) {
      written += static_cast<std::size_t>(count);
    } else if (count < 0 && errno == EAGAIN) {
      AwaitRoom();
    } else if (count == 0 || errno != EINTR) {
      break;
    }
  }
  return written;
}

std::size_t WriteToStderr(Line& line) {
  std::string output;
  AppendLocalTime(output);
  output += {' ', line.level.letter, ' '};
  AppendVisible(output, line.tag);
  output += ": ";
  AppendFormatted(output, line.format, line.arguments);
  output += '\n';
  return WriteWhole(output);
}

// ---- The journal

struct Stream {
  dev_t device;
  ino_t inode;
};

// The stream that the service manager has connected to the journal: "DEVICE:INODE", in decimal.
std::optional<Stream> JournalStream() {
  const std::string_view text = OrEmpty(std::getenv("JOURNAL_STREAM"));
  const char* const end = text.data() + text.size();
  Stream stream{};
  const auto device = std::from_chars(text.data(), end, stream.device);
  if (device.ec != std::errc() || device.ptr == end || *device.ptr != ':') {
    return {};
  }
  const auto inode = std::from_chars(device.ptr + 1, end, stream.inode);
  return inode.ec == std::errc() && inode.ptr == end ? std::make_optional(stream) : std::nullopt;
}

// Standard error may be redirected at any time, so it is looked at anew for every line. The journal
// library drops a record without a word where the journal's socket is missing, as it is in a
// changed root directory; standard error still reaches the journal there.
bool StderrIsJournal() {
  static const std::optional<Stream> journal = JournalStream();
  const KeepErrno kept;
  struct stat status = {};
  return journal && fstat(STDERR_FILENO, &status) == 0 && status.st_dev == journal->device &&
         status.st_ino == journal->inode && access("/run/systemd/journal/socket", F_OK) == 0;
}

// What the library's log macro puts before its text (see common/Log.h).
constexpr std::string_view kOrigin = "%s: %s(%d) > [%s:%d] ";

bool HasOrigin(const Line& line) {
  return std::string_view(line.format).substr(0, kOrigin.size()) == kOrigin;
}

// Takes the origin's arguments off the line and adds them as fields.
void TakeOrigin(Line& line, std::vector<std::string>& fields) {
  fields.push_back(std::string("CODE_FILE=") + OrEmpty(va_arg(line.arguments, const char*)));
  fields.push_back(std::string("CODE_FUNC=") + OrEmpty(va_arg(line.arguments, const char*)));
  fields.push_back("CODE_LINE=" + std::to_string(va_arg(line.arguments, int)));
  static_cast<void>(va_arg(line.arguments, const char*));
  static_cast<void>(va_arg(line.arguments, int));
}

// In the journal the origin is in the fields alone. Its reader sees what happened at the start of
// the line, and can still ask where (`journalctl --output=verbose`) or select by it
// (`CODE_FUNC=...`).
std::vector<std::string> Record(Line& line) {
  std::vector<std::string> fields = {std::string("PRIORITY=") + line.level.journalPriority};
  std::string& tag = fields.emplace_back("SYSLOG_IDENTIFIER=");
  AppendVisible(tag, line.tag);
  const bool hasOrigin = HasOrigin(line);
  if (hasOrigin) {
    TakeOrigin(line, fields);
  }
  std::string& message = fields.emplace_back("MESSAGE=");
  AppendFormatted(message, line.format + (hasOrigin ? kOrigin.size() : 0), line.arguments);
  return fields;
}

// Returns the size of the record's fields, or 0 where the journal does not take it.
std::size_t WriteToJournal(Line& line) {
  std::vector<std::string> fields = Record(line);
  std::vector<iovec> parts;
  std::size_t size = 0;
  for (std::string& field : fields) {
    parts.push_back({field.data(), field.size()});
    size += field.size();
  }
  return sd_journal_sendv(parts.data(), static_cast<int>(parts.size())) == 0 ? size : 0;
}

// ---- Both

// Nothing is thrown at a caller, who may be C: what cannot be written is dropped. Only what derives
// from std::exception is caught, since the end of a cancelled thread must pass.
int Write(std::size_t (*sink)(Line&), Line& line) {
  const KeepErrno kept;
  try {
    return static_cast<int>(std::min<std::size_t>(sink(line), INT_MAX));
  } catch (const std::exception&) {
    return 0;
  }
}

}  // namespace

int __dlog_print(int /*logId*/, int priority, const char* tag, const char* format, ...) {
  static const int threshold = ThresholdFromEnvironment();
  const Level& level = LevelOf(priority);
  if (level.priority < threshold) {
    return 0;
  }
  Line line = {level, OrEmpty(tag), OrEmpty(format), {}};
  int written = 0;
  if (StderrIsJournal()) {
    va_start(line.arguments, format);
    written = Write(WriteToJournal, line);
    va_end(line.arguments);
  }
  if (written == 0) {
    va_start(line.arguments, format);
    written = Write(WriteToStderr, line);
    va_end(line.arguments);
  }
  return written;
}
