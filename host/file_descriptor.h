// Owns a file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace qbflv::host {

class FileDescriptor {
 public:
  explicit FileDescriptor(int number = -1) : m_number(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(m_number, other.m_number);
    return *this;
  }
  ~FileDescriptor() { Close(); }

  int Number() const { return m_number; }
  bool IsOpen() const { return m_number >= 0; }

  /// Returns false when the system reports an error in earlier writes.
  bool Close() { return m_number < 0 || close(std::exchange(m_number, -1)) == 0; }

 private:
  int m_number;
};

}  // namespace qbflv::host
