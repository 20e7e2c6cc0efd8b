// The lircd.conf reader: lines of blank-separated words, `begin`/`end` blocks for remotes, codes and
// raw codes, numbers in C notation (0x hexadecimal, leading 0 octal), '#' starting a comment.
#include "mapper/lircdconf.h"

#include <strings.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {

struct FlagName {
    const char *name;
    uint32_t flag;
};

const FlagName kFlags[] = { { "RAW_CODES", LCF_RAW_CODES }, { "RC5", LCF_RC5 }, { "SHIFT_ENC", LCF_RC5 },
    { "RC6", LCF_RC6 }, { "RCMM", LCF_RCMM }, { "SPACE_ENC", LCF_SPACE_ENC }, { "SPACE_FIRST", LCF_SPACE_FIRST },
    { "GRUNDIG", LCF_GRUNDIG }, { "BO", LCF_BO }, { "SERIAL", LCF_SERIAL }, { "XMP", LCF_XMP },
    { "REVERSE", LCF_REVERSE }, { "NO_HEAD_REP", LCF_NO_HEAD_REP }, { "NO_FOOT_REP", LCF_NO_FOOT_REP },
    { "CONST_LENGTH", LCF_CONST_LENGTH }, { "REPEAT_HEADER", LCF_REPEAT_HEADER } };

enum Mode { NONE, REMOTE, CODES, RAW };

bool same(const std::string &a, const char *b)
{
    return strcasecmp(a.c_str(), b) == 0;
}

// The words of a line; a word starting with '#' after the first ends it.
std::vector<std::string> words(const std::string &line)
{
    std::vector<std::string> out;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t'))
            i++;
        if (i >= line.size() || (line[i] == '#' && !out.empty()))
            break;
        size_t start = i;
        while (i < line.size() && line[i] != ' ' && line[i] != '\t')
            i++;
        out.push_back(line.substr(start, i - start));
    }
    return out;
}

// A whole word as an unsigned number in C notation.
bool number(const std::string &word, uint64_t max, uint64_t *value)
{
    if (word.empty() || word[0] == '-' || word[0] == '+' || word.find('\0') != std::string::npos)
        return false;
    errno = 0;
    char *end = nullptr;
    unsigned long long v = strtoull(word.c_str(), &end, 0);
    if (errno != 0 || end == word.c_str() || *end != '\0' || v > max)
        return false;
    *value = v;
    return true;
}

class Reader {
public:
    LCFfile file;
    Mode mode = NONE;
    int line = 0;

    LCFremote *remote() { return file.remotes.empty() ? nullptr : &file.remotes.back(); }

    void error(const std::string &what)
    {
        std::string text = "line " + std::to_string(line) + ": " + what;
        if (mode != NONE && remote())
            remote()->errors.push_back(text);
        else
            file.errors.push_back(text);
    }

    bool num(const std::string &word, uint64_t max, uint64_t *value)
    {
        if (number(word, max, value))
            return true;
        error("\"" + word + "\" is not a valid number");
        return false;
    }
    void u32(const std::string &word, uint32_t *out)
    {
        uint64_t v;
        if (num(word, INT32_MAX, &v))
            *out = (uint32_t)v;
    }
    void bitCount(const std::string &word, int *out)
    {
        uint64_t v;
        if (num(word, 64, &v))
            *out = (int)v;
    }
    void integer(const std::string &word, int *out)
    {
        uint64_t v;
        if (num(word, INT32_MAX, &v))
            *out = (int)v;
    }
    void code(const std::string &word, uint64_t *out) { num(word, UINT64_MAX, out); }

    void flags(const std::string &value)
    {
        LCFremote *r = remote();
        size_t start = 0;
        while (start <= value.size()) {
            size_t bar = value.find('|', start);
            std::string name = value.substr(start, bar == std::string::npos ? std::string::npos : bar - start);
            uint32_t flag = 0;
            for (const FlagName &f : kFlags)
                if (same(name, f.name))
                    flag = f.flag;
            if (flag == 0)
                error("unknown flag \"" + name + "\"");
            else if ((flag & LCF_PROTOCOLS) && (r->flags & LCF_PROTOCOLS) && !(r->flags & flag))
                error("more than one encoding in flags: \"" + value + "\"");
            r->flags |= flag;
            if (bar == std::string::npos)
                break;
            start = bar + 1;
        }
    }

    void remoteLine(const std::vector<std::string> &w)
    {
        LCFremote *r = remote();
        const std::string &key = w[0];
        if (w.size() < 2) {
            error("\"" + key + "\" without a value");
            return;
        }
        const std::string &v = w[1];
        struct Pair {
            const char *key;
            uint32_t *p, *s;
        } pairs[] = { { "header", &r->phead, &r->shead }, { "one", &r->pone, &r->sone },
            { "zero", &r->pzero, &r->szero }, { "foot", &r->pfoot, &r->sfoot }, { "repeat", &r->prepeat, &r->srepeat },
            { "pre", &r->preP, &r->preS }, { "post", &r->postP, &r->postS } };
        for (const Pair &p : pairs)
            if (same(key, p.key)) {
                if (w.size() < 3) {
                    error("\"" + key + "\" needs a pulse and a space");
                    return;
                }
                u32(v, p.p);
                u32(w[2], p.s);
                return;
            }
        if (same(key, "name"))
            r->name = v;
        else if (same(key, "flags"))
            flags(v);
        else if (same(key, "bits"))
            bitCount(v, &r->bits);
        else if (same(key, "eps"))
            integer(v, &r->eps);
        else if (same(key, "aeps"))
            integer(v, &r->aeps);
        else if (same(key, "plead"))
            u32(v, &r->plead);
        else if (same(key, "ptrail"))
            u32(v, &r->ptrail);
        else if (same(key, "pre_data_bits"))
            bitCount(v, &r->preDataBits);
        else if (same(key, "pre_data"))
            code(v, &r->preData);
        else if (same(key, "post_data_bits"))
            bitCount(v, &r->postDataBits);
        else if (same(key, "post_data"))
            code(v, &r->postData);
        else if (same(key, "gap")) {
            u32(v, &r->gap);
            if (w.size() > 2)
                u32(w[2], &r->gap2);
        } else if (same(key, "repeat_gap"))
            u32(v, &r->repeatGap);
        else if (same(key, "toggle_bit") || same(key, "repeat_bit"))
            bitCount(v, &r->toggleBit);
        else if (same(key, "toggle_bit_mask"))
            code(v, &r->toggleBitMask);
        else if (same(key, "toggle_mask"))
            code(v, &r->toggleMask);
        else if (same(key, "rc6_mask"))
            code(v, &r->rc6Mask);
        else if (same(key, "repeat_mask"))
            code(v, &r->repeatMask);
        else if (same(key, "frequency"))
            u32(v, &r->frequency);
        else if (same(key, "min_repeat"))
            integer(v, &r->minRepeat);
        else if (same(key, "duty_cycle") || same(key, "ignore_mask") || same(key, "manual_sort")
            || same(key, "suppress_repeat") || same(key, "min_code_repeat") || same(key, "driver")
            || same(key, "dyncodes_name"))
            return; // receiving or sending details without a place in a remote description
        else if (same(key, "baud") || same(key, "serial_mode") || same(key, "two") || same(key, "three"))
            r->ignored.push_back("line " + std::to_string(line) + ": " + key + " (not used)");
        else
            r->ignored.push_back("line " + std::to_string(line) + ": unknown \"" + key + "\"");
    }

    void begin(const std::string &what)
    {
        if (same(what, "remote")) {
            if (mode != NONE) {
                error("\"begin remote\" inside a block");
                return;
            }
            file.remotes.emplace_back();
            remote()->line = line;
            mode = REMOTE;
        } else if (same(what, "codes") || same(what, "raw_codes")) {
            bool raw = same(what, "raw_codes");
            if (mode != REMOTE)
                error("\"begin " + what + "\" outside a remote");
            else if (!remote()->codes.empty() || !remote()->rawCodes.empty())
                error("a second list of codes");
            else {
                mode = raw ? RAW : CODES;
                if (raw)
                    remote()->flags = (remote()->flags & ~(uint32_t)LCF_PROTOCOLS) | LCF_RAW_CODES;
            }
        } else
            error("unknown block \"" + what + "\"");
    }

    void end(const std::string &what)
    {
        if (same(what, "remote") && mode == REMOTE) {
            LCFremote *r = remote();
            if (r->name.empty())
                error("a remote without a name");
            mode = NONE;
        } else if ((same(what, "codes") && mode == CODES) || (same(what, "raw_codes") && mode == RAW))
            mode = REMOTE;
        else
            error("\"end " + what + "\" does not close the open block");
    }

    void codeLine(const std::vector<std::string> &w)
    {
        LCFcode c;
        c.name = w[0];
        c.line = line;
        if (w.size() < 2) {
            error("the code of " + w[0] + " is missing");
            return;
        }
        for (size_t i = 1; i < w.size(); i++) {
            uint64_t v = 0;
            if (!num(w[i], UINT64_MAX, &v))
                return;
            c.codes.push_back(v);
        }
        remote()->codes.push_back(c);
    }

    void rawLine(const std::vector<std::string> &w)
    {
        LCFremote *r = remote();
        size_t i = 0;
        if (same(w[0], "name")) {
            if (w.size() < 2) {
                error("\"name\" without a value");
                return;
            }
            LCFraw c;
            c.name = w[1];
            c.line = line;
            r->rawCodes.push_back(c);
            return;
        }
        if (r->rawCodes.empty()) {
            error("durations before the first name");
            return;
        }
        for (; i < w.size(); i++) {
            uint64_t v = 0;
            if (!num(w[i], INT32_MAX, &v))
                return;
            if (r->rawCodes.back().durations.size() >= 4096) {
                error("too many durations for " + r->rawCodes.back().name);
                return;
            }
            r->rawCodes.back().durations.push_back((uint32_t)v);
        }
    }

    void feed(const std::string &text)
    {
        if (!text.empty() && text[0] == '#')
            return;
        std::vector<std::string> w = words(text);
        if (w.empty())
            return;
        // An indented '#' starts a comment, except where lircd reads it as a button named "#".
        uint64_t unused;
        if (w[0][0] == '#' && !(mode == CODES && w.size() >= 2 && number(w[1], UINT64_MAX, &unused)))
            return;
        if (same(w[0], "include")) {
            error("an included file is not read");
            return;
        }
        // "begin" and "end" open and close blocks; in a list of codes they may also be button names.
        bool block = w.size() >= 2 && (same(w[1], "remote") || same(w[1], "codes") || same(w[1], "raw_codes"));
        if ((same(w[0], "begin") || same(w[0], "end")) && w.size() >= 2 && (block || mode != CODES)) {
            if (same(w[0], "begin"))
                begin(w[1]);
            else
                end(w[1]);
            return;
        }
        switch (mode) {
        case NONE:
            error("\"" + w[0] + "\" outside a remote");
            break;
        case REMOTE:
            remoteLine(w);
            break;
        case CODES:
            codeLine(w);
            break;
        case RAW:
            rawLine(w);
            break;
        }
    }
};

} // namespace

LCFfile LCFparse(const std::string &text)
{
    Reader reader;
    size_t start = 0;
    while (start < text.size()) {
        size_t nl = text.find('\n', start);
        size_t stop = nl == std::string::npos ? text.size() : nl;
        std::string one = text.substr(start, stop - start);
        if (!one.empty() && one.back() == '\r')
            one.pop_back();
        reader.line++;
        reader.feed(one);
        start = stop + 1;
    }
    if (reader.mode != NONE) {
        reader.line++;
        reader.error("the file ends inside a block");
    }
    return reader.file;
}

std::string LCFflagNames(uint32_t flags)
{
    std::string out;
    for (const FlagName &f : kFlags) {
        if (!(flags & f.flag) || (f.flag == LCF_RC5 && f.name[0] == 'S'))
            continue;
        if (!out.empty())
            out += '|';
        out += f.name;
    }
    return out;
}
