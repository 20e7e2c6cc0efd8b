// Reads and writes "Manager Prefs": a sequence of blocks (type, length, body), of which the editor
// writes exactly one, type 1 with the 52-byte record.
#include "shell/prefs.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "shell/diagnostics.h"
#include "shell/files.h"

MgrCfgPrefs theConfigPrefs; // the editor's preferences record
int32_t prefsChanged;       // set when a field changes; the file is rewritten at shutdown

enum { kEofErr = -39, kFnfErr = -43 };

static void put32(unsigned char *p, uint32_t v)
{
    p[0] = (unsigned char)(v >> 24);
    p[1] = (unsigned char)(v >> 16);
    p[2] = (unsigned char)(v >> 8);
    p[3] = (unsigned char)v;
}

static void put16(unsigned char *p, uint16_t v)
{
    p[0] = (unsigned char)(v >> 8);
    p[1] = (unsigned char)v;
}

static uint32_t get32(const unsigned char *p)
{
    return (uint32_t)p[0] << 24 | (uint32_t)p[1] << 16 | (uint32_t)p[2] << 8 | p[3];
}

static uint16_t get16(const unsigned char *p)
{
    return (uint16_t)(p[0] << 8 | p[1]);
}

void PREFSencode(const MgrCfgPrefs *r, unsigned char *b)
{
    put32(b + 0, r->version);
    put32(b + 4, r->mainWindowSize);
    put32(b + 8, r->remotePictShown);
    put32(b + 12, r->showDetails);
    put32(b + 16, r->showButtonsNotOnRemote);
    put32(b + 20, (uint32_t)r->currentApplIdx);
    put32(b + 24, r->viewByButton);
    put32(b + 28, (uint32_t)r->viewByButtonIdx);
    memcpy(b + 32, r->reserved, 8);
    put16(b + 40, (uint16_t)r->mainTop);
    put16(b + 42, (uint16_t)r->mainLeft);
    put16(b + 44, (uint16_t)r->editTop);
    put16(b + 46, (uint16_t)r->editLeft);
    put16(b + 48, (uint16_t)r->remoteTop);
    put16(b + 50, (uint16_t)r->remoteLeft);
}

void PREFSdecode(const unsigned char *b, MgrCfgPrefs *r)
{
    r->version = get32(b + 0);
    r->mainWindowSize = get32(b + 4);
    r->remotePictShown = get32(b + 8);
    r->showDetails = get32(b + 12);
    r->showButtonsNotOnRemote = get32(b + 16);
    r->currentApplIdx = (int32_t)get32(b + 20);
    r->viewByButton = get32(b + 24);
    r->viewByButtonIdx = (int32_t)get32(b + 28);
    memcpy(r->reserved, b + 32, 8);
    r->mainTop = (int16_t)get16(b + 40);
    r->mainLeft = (int16_t)get16(b + 42);
    r->editTop = (int16_t)get16(b + 44);
    r->editLeft = (int16_t)get16(b + 46);
    r->remoteTop = (int16_t)get16(b + 48);
    r->remoteLeft = (int16_t)get16(b + 50);
}

// Reads count bytes as the file manager did: all of them, or end of file (-39) with count set to
// what arrived, or the negative errno.
static int fsRead(int fileRef, unsigned char *buf, int *count)
{
    int want = *count, got = 0;
    while (got < want) {
        ssize_t n = read(fileRef, buf + got, (size_t)(want - got));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            *count = got;
            return -errno;
        }
        if (n == 0) {
            *count = got;
            return kEofErr;
        }
        got += (int)n;
    }
    *count = got;
    return 0;
}

int openPrefs(int *fileRef, int forWriting)
{
    char folder[1024];
    int err = FindFolder(folder);
    if (err != 0) {
        BUGprintf("Orvenda VQX ERROR: unable to find preferences folder");
        return err;
    }
    char path[1100];
    snprintf(path, sizeof path, "%s/%s/%s", folder, VQX_PREFS_FOLDER_NAME, VQX_PREFS_FILE_NAME);
    // Opened with the permission the file allows; writing needs both.
    int fd = open(path, O_RDWR);
    if (fd < 0 && errno != ENOENT && !forWriting)
        fd = open(path, O_RDONLY);
    if (fd < 0) {
        int openErr = errno == ENOENT ? kFnfErr : -errno;
        if (!forWriting || openErr != kFnfErr)
            return openErr;
        fd = open(path, O_RDWR | O_CREAT, 0644);
        if (fd < 0)
            return errno == ENOENT ? kFnfErr : -errno;
    }
    *fileRef = fd;
    return 0;
}

void initMgrCfgPrefs(MgrCfgPrefs *record)
{
    memset(record, 0, sizeof *record);
    record->version = 1;
    record->showButtonsNotOnRemote = 1;
    record->mainTop = 100;
    record->mainLeft = 100;
}

int readPrefs(int fileRef, MgrCfgPrefs *record)
{
    initMgrCfgPrefs(record);
    int changed = 0;
    unsigned char bytes[kPrefsRecordSize];
    PREFSencode(record, bytes);
    for (;;) {
        unsigned char header[4];
        int count = 4;
        int err = fsRead(fileRef, header, &count);
        if (err == kEofErr)
            return changed;
        if (err != 0)
            return err;
        int16_t type = (int16_t)get16(header);
        uint16_t length = get16(header + 2);
        if (count < 4 || length == 0)
            return changed;
        if (type == 1) {
            if (length > kPrefsRecordSize)
                return -1;
            count = length;
            err = fsRead(fileRef, bytes, &count);
            if (err != 0)
                return err;
            if (count < length) {
                BUGprintf("Orvenda VQX ERROR: prefs file ended early");
                return -2;
            }
            PREFSdecode(bytes, record);
            if (length < kPrefsRecordSize)
                changed = 1;
        } else {
            changed = 1;
            BUGprintf("Orvenda VQX ERROR: unknown header type?");
        }
    }
}

int writePrefs(int fileRef, const MgrCfgPrefs *record)
{
    unsigned char block[4 + kPrefsRecordSize];
    put16(block, 1);
    put16(block + 2, kPrefsRecordSize);
    PREFSencode(record, block + 4);
    if (lseek(fileRef, 0, SEEK_SET) < 0)
        return -errno;
    size_t done = 0;
    while (done < sizeof block) {
        ssize_t n = write(fileRef, block + done, sizeof block - done);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return -errno;
        }
        if (n == 0)
            return -EIO;
        done += (size_t)n;
    }
    return 0;
}

int getPrefs(void)
{
    prefsChanged = 0;
    int ref;
    int err = openPrefs(&ref, 0);
    if (err == kFnfErr) {
        initMgrCfgPrefs(&theConfigPrefs);
        prefsChanged = 1;
        return 0;
    }
    if (err != 0) {
        snprintf(messageLine, sizeof messageLine, "openPrefs returned %d", err);
        errormsg("%s", messageLine);
        return err;
    }
    int result = readPrefs(ref, &theConfigPrefs);
    if (result != 0 && result != 1) {
        snprintf(messageLine, sizeof messageLine, "readPrefs returned %d", result);
        errormsg("%s", messageLine);
        return result; // the file stays open on this path, as it always has
    }
    prefsChanged = result;
    close(ref);
    return 0;
}

int closePrefs(void)
{
    if (prefsChanged == 0)
        return 0;
    int ref = -1;
    int err = openPrefs(&ref, 1);
    if (err != 0) {
        snprintf(messageLine, sizeof messageLine, "openPrefs (w) returned %d", err);
        errormsg("%s", messageLine);
    }
    int result = ref >= 0 ? writePrefs(ref, &theConfigPrefs) : -EBADF;
    if (result != 0) {
        snprintf(messageLine, sizeof messageLine, "writePrefs returned %d", result);
        errormsg("%s", messageLine);
    }
    if (ref >= 0 && close(ref) != 0 && result == 0) {
        result = -errno;
        snprintf(messageLine, sizeof messageLine, "writePrefs returned %d", result);
        errormsg("%s", messageLine);
    }
    return result;
}
