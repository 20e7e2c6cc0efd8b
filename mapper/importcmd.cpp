// The import-lircd subcommand: reads the lircd.conf, converts its remotes and writes each .REM
// into the folder (the preferences folder unless one is given), never over a file without --force.
#include "mapper/importcmd.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "mapper/import.h"
#include "shell/files.h"

static const char *const kImportUsage = "Usage: vqx-mapper import-lircd [--force] FILE [DIR]\n";

static bool readText(const char *path, std::string *text)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    std::ostringstream all;
    all << in.rdbuf();
    *text = all.str();
    return !in.bad();
}

// Writes through a temporary file renamed into place, so that a failed write leaves nothing half
// written under the final name. Returns "" or the reason.
static std::string writeRem(const std::string &folder, const IMPremote &r, bool force)
{
    std::string path = folder + "/" + r.fileName;
    struct stat st;
    if (!force && lstat(path.c_str(), &st) == 0)
        return "exists (--force replaces it)";
    std::string tmp = folder + "/." + r.fileName + ".tmp";
    FILE *f = fopen(tmp.c_str(), "w");
    if (!f)
        return std::string("cannot be written: ") + strerror(errno);
    bool ok = fwrite(r.text.data(), 1, r.text.size(), f) == r.text.size();
    ok = fflush(f) == 0 && ok;
    ok = fclose(f) == 0 && ok;
    if (ok && !force && link(tmp.c_str(), path.c_str()) != 0) {
        int e = errno;
        unlink(tmp.c_str());
        return e == EEXIST ? "exists (--force replaces it)" : std::string("cannot be written: ") + strerror(e);
    }
    if (ok && !force) {
        unlink(tmp.c_str());
        return "";
    }
    if (!ok || rename(tmp.c_str(), path.c_str()) != 0) {
        int e = errno;
        unlink(tmp.c_str());
        return std::string("cannot be written: ") + strerror(e);
    }
    return "";
}

int IMPcommand(int argc, char **argv)
{
    bool force = false;
    const char *file = nullptr, *dir = nullptr;
    for (int i = 2; i < argc; i++) {
        if (strcmp(argv[i], "--force") == 0)
            force = true;
        else if (argv[i][0] == '-' && argv[i][1] != '\0') {
            fprintf(stderr, "vqx-mapper: unknown option %s\n%s", argv[i], kImportUsage);
            return 2;
        } else if (!file)
            file = argv[i];
        else if (!dir)
            dir = argv[i];
        else {
            fprintf(stderr, "vqx-mapper: too many arguments\n%s", kImportUsage);
            return 2;
        }
    }
    if (!file) {
        fprintf(stderr, "%s", kImportUsage);
        return 2;
    }
    std::string folder;
    if (dir)
        folder = dir;
    else {
        char prefs[1024];
        if (!VQXFILESgetPrefsPath(prefs)) {
            fprintf(stderr, "vqx-mapper: the preferences folder cannot be found\n");
            return 2;
        }
        folder = prefs;
    }
    struct stat st;
    if (stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        fprintf(stderr, "vqx-mapper: the folder %s does not exist%s\n", folder.c_str(),
            dir ? "" : " (run vqx-install-preferences)");
        return 2;
    }
    std::string text;
    if (!readText(file, &text)) {
        fprintf(stderr, "vqx-mapper: %s cannot be read: %s\n", file, strerror(errno));
        return 2;
    }
    LCFfile parsed = LCFparse(text);
    for (const std::string &e : parsed.errors)
        printf("%s: %s\n", file, e.c_str());
    int written = 0, skipped = 0;
    for (const IMPremote &r : IMPconvert(parsed)) {
        std::string why = r.converted ? writeRem(folder, r, force) : r.why;
        if (r.converted && why.empty()) {
            written++;
            printf("written %s: remote %s, %s encoding, %zu button%s, FRQ %d, BIT %d (largest error %.1f%%)\n",
                r.fileName.c_str(), r.remoteName.c_str(), r.encoding.c_str(), r.buttons.size(),
                r.buttons.size() == 1 ? "" : "s", r.frequency, r.bitTime, r.worstError * 100);
        } else {
            skipped++;
            printf("skipped remote %s (%s): %s\n", r.remoteName.c_str(), r.fileName.c_str(), why.c_str());
        }
        if (r.converted)
            for (const std::string &s : r.skipped)
                printf("  left out %s\n", s.c_str());
        for (const std::string &n : r.notes)
            printf("  note: %s\n", n.c_str());
    }
    printf("import-lircd: %d remote%s written, %d skipped, from %s into %s\n", written, written == 1 ? "" : "s",
        skipped, file, folder.c_str());
    return written > 0 ? 0 : 1;
}
