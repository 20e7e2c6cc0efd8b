// Button reconciliation: brings every application's action list in line with the remote's
// command list (missing buttons added, order of the remote), and upgrades old mapping files.
#ifndef VQX_MAPPING_RECONCILE_H
#define VQX_MAPPING_RECONCILE_H

#include "mapping/model.h"

int checkForMissingButtons(void);
void addAllButtonsToMap(void);
void reorderAllButtons(void);
void reorderButtonsInMap(ApplicationRecord *appl);
void fixupOldMapfile(void);

#endif
