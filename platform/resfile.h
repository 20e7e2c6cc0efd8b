// The resource file beside the program (a Qt binary resource file): registering it, reading a
// resource by type and number, and the string lists.
#ifndef VQX_PLATFORM_RESFILE_H
#define VQX_PLATFORM_RESFILE_H

#include <string>

#define VQX_RESOURCE_FILE_NAME "vqx-map-editor.rcc"

// Registers the resource file at path; 0, or -1 when it cannot be registered.
int RESopen(const char *path);
// Registers the resource file that lies in the folder of the given program path.
int RESopenBesideProgram(const char *programPath);
// The Qt resource path of resource `id` of `type` ("DLOG", "ALRT", "STR#", "cicn", "PICT", ...),
// for example ":/DLOG/130.ui"; suffix is the file ending the resource is stored with.
std::string RESpath(const char *type, int id, const char *suffix);
// 1 when that resource is present.
int RESexists(const char *type, int id, const char *suffix);
// The resource's bytes, or an empty string when it is missing.
std::string RESload(const char *type, int id, const char *suffix);

// String `index` (1-based) of string list `listId` as a length-prefixed string of at most 255
// bytes; an entry that is missing gives the empty string.
void GetIndString(unsigned char *result, int listId, int index);

#endif
