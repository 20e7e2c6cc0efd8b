// The globals of the mapping model.
#include "mapping/model.h"

ApplicationRecord theActionByApplList[kMaxApplications]; // the application table
int32_t numApplications;          // used entries of the table
ApplicationRecord *theDefaultAppl; // the default entry
ApplicationRecord *theGlobalAppl;  // the "*GLOBAL*" entry
ApplicationRecord *theCurrentAppl; // entry being filled while reading; then the default one
int32_t numButtons;               // actions in the list being filled
int32_t maxNumButtons;            // largest list length seen
int32_t mapfileVersion;           // from MAPVER; 0 for an old file
int32_t mapFileError;             // 2 table full, 3 no remote named, 4 a mapping not parsed
int32_t mapFileChanged;           // the model differs from the file
int32_t showParsedCommands;       // trace each parsed line
