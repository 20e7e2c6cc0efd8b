// The menu commands: the dispatcher, saving (also under a new name), reverting, quitting with the
// save question, switching to another remote or mapping file, the About box and the Mapper.
#ifndef VQX_MAINWINDOW_COMMANDS_H
#define VQX_MAINWINDOW_COMMANDS_H

extern const char *dateString; // the version and build shown by the About box

// One menu choice: menu number in the high 16 bits, item in the low 16 bits.
void doMenuEvent(long menuAndItem);
void updateCfgFile(void);
void doSaveAs(void);
void doMenuClose(void);
void doRevert(void);
void doSwitchRemote(int item);
void doSwitchMapping(int item);

#endif
