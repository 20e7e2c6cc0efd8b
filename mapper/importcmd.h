// `vqx-mapper import-lircd [--force] FILE [DIR]`: writes a remote description for every remote of
// a lircd.conf and says what was written and what was left out.
#ifndef VQX_MAPPER_IMPORTCMD_H
#define VQX_MAPPER_IMPORTCMD_H

// argv[0] is the program, argv[1] "import-lircd". Returns the exit status: 0 when at least one
// remote was written, 1 when none was, 2 for a usage error or an unreadable file.
int IMPcommand(int argc, char **argv);

#endif
