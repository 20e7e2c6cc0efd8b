// Where the files live: the resources folder beside the program with the pristine copies, the
// per-user preferences folder with the working copies, the lists of mapping and remote files,
// the picture of a remote, the Mapper's path, running processes, and all-or-nothing saving.
#ifndef VQX_SHELL_FILES_H
#define VQX_SHELL_FILES_H

#include <cstdint>
#include <cstdio>

#define VQX_PREFS_FOLDER_NAME "Orvenda VQX Preferences"
#define VQX_MAPPER_BUNDLE_NAME "VQXMapperApplication.app"

// A file as the toolbox referred to one (FSSpec): on this platform, its absolute path.
struct FSSpec {
    char path[1024];
};

struct InstallationFile {
    int32_t flag;     // 1 in every row, read by nobody
    const char *name; // file name in the preferences folder
};

extern const char *mainArgs0; // the program's own path, set first thing at start-up
extern InstallationFile installationFiles[7];
extern char mapFileNames[20][256];
extern int32_t numberOfMappings;
extern char remFileNames[20][256];
extern int32_t numberOfRemotes;

char *contentsMacOSToResources(char *path);
char *VQXFILESgetPrefsPath(char *buffer);
char *VQXFILESgetResourcesPath(void);
char *VQXFILESsetResourcesPath(void);
char *VQXFILESpathToResourcesFile(const char *name);
FILE *VQXFILESopenPrefsFile(const char *name, const char *mode, int overwrite);
FILE *VQXFILESopenResourcesFile(const char *name, const char *mode);
int VQXFILESfileExistsInPrefs(const char *name);
int VQXFILESfileExists(const char *path);
int VQXFILESprefsFolderExists(void);
int VQXFILEScreatePrefsFolder(void);
int VQXFILEScfgFilePresentInBundle(void);
void VQXFILESmoveFilesFromBundleAsNecessary(void);
void VQXFILESmoveFilesFromBundleOverwrite(void);
void VQXFILESclearMapAndRemFileNames(void);
void VQXFILESevaluateAsMapOrRemFileName(const char *name);
void VQXFILESgetPrefsFiles(void);
char *VQXFILEremNameToPicBundleName(const char *remName, const char *suffix);
char *VQXFILESgetMapperApplicationPath(char *buffer);
char *VQXFILESgetPathFromSpec(const FSSpec *fileSpec);
char *VQXFILESgetMacPathFromSpec(const FSSpec *fileSpec);
int VQXFILESisApplicationRunning(const char *name);
// The full path of a folder as a length-prefixed string with a trailing "/", built by walking
// from the folder up to the root; 0, or the negative errno when the folder cannot be resolved.
int PathNameFromDirID(const char *folder, unsigned char *result);
void copy(const char *destination, const char *source);

// The Preferences folder of the user ($XDG_CONFIG_HOME, else $HOME/.config) into buffer
// (1024 bytes); 0, or a negative code when neither gives a usable folder.
int FindFolder(char *buffer);

// All-or-nothing saving of a working file: the new content goes to a temporary file in the
// preferences folder, which replaces the working file only when every write, the flush and the
// sync succeeded. The working file is never truncated in place.
struct VQXSAVE {
    FILE *stream;         // the temporary file being written
    char tmpPath[1100];   // its path
    char finalPath[1100]; // the working file it will replace
};
// Starts a save of working file `name` (copying the pristine file first when the working copy is
// missing, as opening for writing always did); the stream to write, or null.
FILE *VQXFILESbeginSave(const char *name, VQXSAVE *save);
// Checks, flushes, syncs and renames into place; 0, or the negative errno (the temporary file is
// removed and the working file left untouched).
int VQXFILEScommitSave(VQXSAVE *save);
// Gives up a save: closes and removes the temporary file.
void VQXFILESabortSave(VQXSAVE *save);

// For tests only. A routine asked first whenever a working file is opened: it may hand back a
// stream of its own (the file's bytes from memory), or none to open the file as usual.
typedef FILE *(*VQXFILESopenHook)(const char *name, const char *mode);
void VQXFILESsetOpenHookForTests(VQXFILESopenHook hook);
// For tests only: non-zero makes saves skip the syncs to the disk (a loop of thousands of saves
// would wait on the disk for each); the files are written and renamed into place as ever.
void VQXFILESskipSyncForTests(int skip);

#endif
