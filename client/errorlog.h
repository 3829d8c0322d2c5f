// The daemon's error log, as it is written and rotated.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class ErrorLog
{
  public:
    enum class From { kStart, kEnd }; // kEnd: only what is still to come
    explicit ErrorLog(From from);
    ~ErrorLog();
    ErrorLog(const ErrorLog &) = delete;
    ErrorLog &operator=(const ErrorLog &) = delete;

    // The records since the last time, also when the file was renamed meanwhile and made anew.
    std::vector<std::string> take();
    // Why it cannot be read, else empty. That there is none yet is no problem.
    const std::string &problem() const { return problem_; }

  private:
    bool open_file();
    void read_file();

    int fd_ = -1;
    std::string rest_; // of a record that is not whole
    std::string problem_;
};

// Whether a record tells of a warning, an error, or a step that did not end with status 0.
bool tells_of_failure(const std::string &record);
