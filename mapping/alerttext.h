// File data inside alert texts: the fatal-style alerts expand their text a second time, so every
// "%" that comes from a file is doubled here and shows up as itself.
#ifndef VQX_MAPPING_ALERTTEXT_H
#define VQX_MAPPING_ALERTTEXT_H

// The text with each "%" doubled, in a static buffer valid until the next call (at most 1023
// characters of the text are taken).
const char *MAPalertArg(const char *text);

#endif
