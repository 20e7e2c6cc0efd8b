// Reads lircd's socket lines and keeps a button held while its repeats come. Nothing here blocks
// or keeps a descriptor: the Mapper's loop reads the socket and gives the bytes and the time.
#include "mapper/lircd.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

// The next word of text[*pos, length) (separated by spaces or tabs); false when there is none.
static bool nextWord(const char *text, size_t length, size_t *pos, size_t *start, size_t *end)
{
    size_t i = *pos;
    while (i < length && (text[i] == ' ' || text[i] == '\t'))
        i++;
    if (i == length)
        return false;
    *start = i;
    while (i < length && text[i] != ' ' && text[i] != '\t')
        i++;
    *end = i;
    *pos = i;
    return true;
}

// Hexadecimal digits only, at most `maxDigits` of them.
static bool parseHex(const char *text, size_t length, size_t maxDigits, uint64_t *value)
{
    if (length == 0 || length > maxDigits)
        return false;
    uint64_t v = 0;
    for (size_t i = 0; i < length; i++) {
        char c = text[i];
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return false;
        v = v << 4 | (uint64_t)digit;
    }
    *value = v;
    return true;
}

// Names are printable and free of controls; anything else is not a line from lircd.
static bool plainName(const char *text, size_t length)
{
    for (size_t i = 0; i < length; i++)
        if ((unsigned char)text[i] < 0x21 || text[i] == 0x7f)
            return false;
    return length > 0;
}

bool LRCparseLine(const char *text, size_t length, LRCline *out)
{
    if (length > 0 && text[length - 1] == '\r')
        length--;
    size_t pos = 0, s[4], e[4];
    for (int i = 0; i < 4; i++)
        if (!nextWord(text, length, &pos, &s[i], &e[i]))
            return false;
    size_t extraStart, extraEnd;
    if (nextWord(text, length, &pos, &extraStart, &extraEnd))
        return false;
    uint64_t code, repeat;
    if (!parseHex(text + s[0], e[0] - s[0], 16, &code) || !parseHex(text + s[1], e[1] - s[1], 8, &repeat))
        return false;
    if (!plainName(text + s[2], e[2] - s[2]) || !plainName(text + s[3], e[3] - s[3]))
        return false;
    out->code = code;
    out->repeat = (uint32_t)repeat;
    out->button.assign(text + s[2], e[2] - s[2]);
    out->remote.assign(text + s[3], e[3] - s[3]);
    return true;
}

// One whole line: a press, or part of a reply, or refused.
static void takeLine(LRCparser *p, const char *text, size_t length, std::vector<LRCline> *out)
{
    size_t trimmed = length > 0 && text[length - 1] == '\r' ? length - 1 : length;
    if (trimmed == 5 && memcmp(text, "BEGIN", 5) == 0) {
        p->inReply = true;
        return;
    }
    if (p->inReply) {
        if (trimmed == 3 && memcmp(text, "END", 3) == 0)
            p->inReply = false;
        return;
    }
    if (length == 0)
        return;
    LRCline line;
    if (LRCparseLine(text, length, &line))
        out->push_back(std::move(line));
    else
        p->refused++;
}

void LRCfeed(LRCparser *p, const char *data, size_t size, std::vector<LRCline> *out)
{
    size_t i = 0;
    while (i < size) {
        const char *newline = (const char *)memchr(data + i, '\n', size - i);
        size_t end = newline ? (size_t)(newline - data) : size;
        size_t piece = end - i;
        if (p->skipping) {
            // The rest of a line already refused.
        } else if (p->partial.size() + piece > LRC_MAX_LINE) {
            p->partial.clear();
            p->skipping = true;
            p->refused++;
        } else if (!newline) {
            p->partial.append(data + i, piece);
        } else if (p->partial.empty()) {
            takeLine(p, data + i, piece, out);
        } else {
            p->partial.append(data + i, piece);
            takeLine(p, p->partial.data(), p->partial.size(), out);
            p->partial.clear();
        }
        if (!newline)
            break;
        p->skipping = false;
        i = end + 1;
    }
}

void LRChear(LRChold *h, const LRCline &line, int64_t now, std::vector<LRCedge> *out)
{
    LRCexpire(h, now, out);
    if (h->down && line.repeat > 0 && line.button == h->button && line.remote == h->remote) {
        h->lastLine = now;
        return;
    }
    // A first line, another button, or a repeat of a button already let go: a new press.
    LRCreleaseHeld(h, now, out);
    h->down = true;
    h->button = line.button;
    h->remote = line.remote;
    h->lastLine = now;
    LRCedge edge;
    edge.down = true;
    edge.button = line.button;
    edge.time = now;
    out->push_back(edge);
}

int64_t LRCdeadline(const LRChold *h)
{
    if (!h->down)
        return INT64_MAX;
    if (h->lastLine > INT64_MAX - h->releaseAfterUs)
        return INT64_MAX - 1;
    return h->lastLine + h->releaseAfterUs;
}

void LRCexpire(LRChold *h, int64_t now, std::vector<LRCedge> *out)
{
    int64_t due = LRCdeadline(h);
    if (due <= now)
        LRCreleaseHeld(h, due, out);
}

void LRCreleaseHeld(LRChold *h, int64_t now, std::vector<LRCedge> *out)
{
    if (!h->down)
        return;
    h->down = false;
    LRCedge edge;
    edge.down = false;
    edge.button = h->button;
    edge.time = now;
    out->push_back(edge);
}

int LRCconnect(const std::string &path)
{
    struct sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        return -ENAMETOOLONG;
    memcpy(address.sun_path, path.c_str(), path.size());
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -errno;
    // A local stream socket connects at once or not at all (EAGAIN: lircd's backlog is full).
    if (connect(fd, (struct sockaddr *)&address, sizeof address) != 0) {
        int err = errno;
        close(fd);
        return -err;
    }
    return fd;
}
