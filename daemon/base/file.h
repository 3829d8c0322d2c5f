// Small files of the kernel and of services: opened, used and closed within one call.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>

#include <unistd.h>

struct FileCloser {
    void operator()(FILE *file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// Closes a descriptor at the end of its scope.
class Descriptor
{
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor()
    {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int get() const { return fd_; }

  private:
    const int fd_;
};

// The text of an error number, for the length of one message.
class ErrorText
{
  public:
    explicit ErrorText(int error) : text_(strerror_r(error, buffer_, sizeof buffer_)) {}
    ErrorText(const ErrorText &) = delete;
    ErrorText &operator=(const ErrorText &) = delete;
    const char *c_str() const { return text_; }

  private:
    char buffer_[80];
    const char *text_;
};

// What became of a text that was written to a file.
struct WriteResult {
    bool opened; // whether the file could be opened
    int error;   // 0 when the whole text was taken, else the errno of the step that failed
};

// Writes a text to a file, which is created or emptied first. A kernel file refuses a value only when the
// buffer is flushed, so closing is part of the answer.
WriteResult rd_write_file(const char *path, const char *text);

// Reads the first line, at most size - 1 characters and its newline if it fits. An empty or unreadable file
// gives an empty text. Returns 0, or the errno of a file that cannot be opened, with the text untouched.
int rd_read_line(const char *path, char *text, size_t size);

template <size_t N>
int rd_read_line(const char *path, char (&text)[N])
{
    return rd_read_line(path, text, N);
}
