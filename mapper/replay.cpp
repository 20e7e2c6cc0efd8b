// Reads a replay file line by line with the sample parser; a damaged file gives the samples it
// has and a log line for each of the first bad lines.
#include "mapper/replay.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "mapper/log.h"

static const long kMaxFileBytes = 256L * 1024 * 1024;
static const long kLoggedBadLines = 10;

int64_t RPLduration(const SMPsample &sample)
{
    switch (sample.kind) {
    case SMP_PULSE:
    case SMP_SPACE:
    case SMP_TIMEOUT:
        return sample.value;
    default:
        return 0;
    }
}

void RPLparse(const char *text, size_t length, RPLfile *file, const std::string &name)
{
    size_t start = 0;
    long lineNumber = 0;
    while (start < length) {
        const char *nl = (const char *)memchr(text + start, '\n', length - start);
        size_t end = nl ? (size_t)(nl - text) : length;
        lineNumber++;
        std::string error;
        int result = SMPparseSamples(text + start, end - start, &file->samples, &error);
        if (result < 0) {
            if (++file->badLines <= kLoggedBadLines)
                LOGinfo("replay: %s line %ld: %s", name.c_str(), lineNumber, error.c_str());
        }
        start = end + 1;
    }
    if (file->badLines > kLoggedBadLines)
        LOGinfo("replay: %s: %ld more bad lines skipped", name.c_str(), file->badLines - kLoggedBadLines);
}

int RPLload(const std::string &path, RPLfile *file, std::string *why)
{
    FILE *f = fopen(path.c_str(), "rb");
    if (!f) {
        *why = path + ": " + strerror(errno);
        return -1;
    }
    std::string text;
    char chunk[65536];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, f)) > 0) {
        if ((long)(text.size() + n) > kMaxFileBytes) {
            fclose(f);
            *why = path + ": larger than 256 MB";
            return -1;
        }
        text.append(chunk, n);
    }
    fclose(f);
    RPLparse(text.data(), text.size(), file, path);
    return 0;
}
