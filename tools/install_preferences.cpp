// vqx-install-preferences: makes the per-user preferences folder and copies into it the pristine
// working files that are missing (all of them with --overwrite).
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "shell/files.h"

static int usage(FILE *out)
{
    fprintf(out, "Usage: vqx-install-preferences [--overwrite]\n"
                 "Creates the Orvenda VQX preferences folder when it is missing and copies the\n"
                 "pristine mapping, remote and configuration files into it. Files already there\n"
                 "are kept; --overwrite replaces every one of them with the pristine copy.\n");
    return out == stdout ? 0 : 2;
}

// 1 when the two files hold the same bytes.
static int sameContent(const std::string &a, const std::string &b)
{
    FILE *fa = fopen(a.c_str(), "rb"), *fb = fopen(b.c_str(), "rb");
    int same = fa && fb;
    while (same) {
        int ca = getc(fa), cb = getc(fb);
        if (ca != cb)
            same = 0;
        if (ca == EOF || cb == EOF)
            break;
    }
    if (fa)
        fclose(fa);
    if (fb)
        fclose(fb);
    return same;
}

static std::string programPath(const char *argv0)
{
    char exe[1024];
    ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n <= 0)
        return argv0;
    exe[n] = '\0';
    return exe;
}

int main(int argc, char **argv)
{
    bool overwrite = false;
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "--overwrite") == 0)
            overwrite = true;
        else if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0)
            return usage(stdout);
        else {
            fprintf(stderr, "vqx-install-preferences: unknown option %s\n", argv[i]);
            return usage(stderr);
        }
    }
    static std::string self = programPath(argv[0]);
    mainArgs0 = self.c_str();

    char prefs[1024];
    if (!VQXFILESgetPrefsPath(prefs)) {
        fprintf(stderr, "vqx-install-preferences: no usable preferences folder: set HOME or XDG_CONFIG_HOME\n");
        return 1;
    }
    const char *resources = VQXFILESgetResourcesPath();
    std::string bundle = resources ? resources : "";
    for (const InstallationFile &file : installationFiles) {
        std::string source = bundle + "/" + file.name;
        if (!VQXFILESfileExists(source.c_str())) {
            fprintf(stderr, "vqx-install-preferences: the pristine file %s is missing; reinstall the editor\n",
                    source.c_str());
            return 1;
        }
    }
    if (!VQXFILESprefsFolderExists()) {
        if (VQXFILEScreatePrefsFolder() != 0) {
            fprintf(stderr, "vqx-install-preferences: cannot create %s\n", prefs);
            return 1;
        }
        printf("created %s\n", prefs);
    }
    bool present[7];
    for (int i = 0; i < 7; i++)
        present[i] = VQXFILESfileExistsInPrefs(installationFiles[i].name) != 0;
    if (overwrite)
        VQXFILESmoveFilesFromBundleOverwrite();
    else
        VQXFILESmoveFilesFromBundleAsNecessary();
    int failed = 0;
    for (int i = 0; i < 7; i++) {
        const char *name = installationFiles[i].name;
        std::string target = std::string(prefs) + "/" + name;
        if (!VQXFILESfileExistsInPrefs(name) || ((overwrite || !present[i]) && !sameContent(target, bundle + "/" + name))) {
            fprintf(stderr, "vqx-install-preferences: could not copy %s into %s\n", name, prefs);
            failed = 1;
        } else if (overwrite && present[i]) {
            printf("replaced %s\n", name);
        } else if (!present[i]) {
            printf("installed %s\n", name);
        } else {
            printf("kept %s\n", name);
        }
    }
    return failed;
}
