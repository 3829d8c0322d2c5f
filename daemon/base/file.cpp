#include "base/file.h"

#include <cerrno>

WriteResult rd_write_file(const char *path, const char *text)
{
    FILE *file = fopen(path, "we");
    if (file == nullptr) {
        return {false, errno};
    }
    int error = fputs(text, file) == EOF ? errno : 0;
    if (fclose(file) != 0 && error == 0) {
        error = errno;
    }
    return {true, error};
}

int rd_read_line(const char *path, char *text, size_t size)
{
    const File file(fopen(path, "re"));
    if (file == nullptr) {
        return errno;
    }
    if (fgets(text, static_cast<int>(size), file.get()) == nullptr) {
        text[0] = '\0';
    }
    return 0;
}
