// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "CapturedLog.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <system_error>

#include "CrashGuard.h"
#include "Text.h"

namespace applist_ui {

namespace {

constexpr size_t kMostLines = 10000;

int Check(int result) {
  if (result < 0) {
    throw std::system_error(errno, std::generic_category(), "no place for the log");
  }
  return result;
}

void WriteWhole(int fd, const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = write(fd, bytes.data() + done, bytes.size() - done);
    if (count <= 0) {
      return;
    }
    done += static_cast<size_t>(count);
  }
}

}  // namespace

// A pipe would not do: it is this thread that writes most lines, and nobody else could empty it.
CapturedLog::CapturedLog()
    : m_file(Check(memfd_create("log", MFD_CLOEXEC))),
      m_original(Check(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3))),
      m_passOn(isatty(STDERR_FILENO) == 0) {
  Check(fcntl(m_file.Get(), F_SETFL, O_APPEND));
  Check(dup2(m_file.Get(), STDERR_FILENO));
  CrashGuard::SetStandardError(m_original.Get(), m_file.Get());
}

CapturedLog::~CapturedLog() {
  CrashGuard::SetStandardError(-1, -1);
  dup2(m_original.Get(), STDERR_FILENO);
  Collect();
}

// What has been read is not needed in the file any more. The descriptors share one position, which
// is that of the writers.
bool CapturedLog::Collect() {
  std::string bytes;
  char part[4096];
  ssize_t count = 0;
  while ((count = pread(m_file.Get(), part, sizeof part, static_cast<off_t>(bytes.size()))) > 0) {
    bytes.append(part, static_cast<size_t>(count));
  }
  if (bytes.empty()) {
    return false;
  }
  if (ftruncate(m_file.Get(), 0) != 0) {
    return false;
  }
  if (m_passOn) {
    WriteWhole(m_original.Get(), bytes);
  }
  Take(bytes);
  return true;
}

void CapturedLog::Take(const std::string& bytes) {
  m_rest += bytes;
  size_t start = 0;
  for (size_t end = 0; (end = m_rest.find('\n', start)) != std::string::npos; start = end + 1) {
    m_lines.push_back(Printable(m_rest.substr(start, end - start)));
  }
  m_rest.erase(0, start);
  while (m_lines.size() > kMostLines) {
    m_lines.pop_front();
  }
}

}  // namespace applist_ui
