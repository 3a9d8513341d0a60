#include "modules/rest_strlib_enum.h"

const char* pStr_common_Unknown = "Unknown";

const char* pStr_enumBoxsItemType_None = "None";
const char* pStr_enumBoxsItemType_Fixed = "Fixed";
const char* pStr_enumBoxsItemType_Removable = "Removable";

const char* pStr_enumBoxsItemState_None = "None";
const char* pStr_enumBoxsItemState_NotPresent = "Not present";
const char* pStr_enumBoxsItemState_Operational = "Operational";
const char* pStr_enumBoxsItemState_Failed = "Failed";
const char* pStr_enumBoxsItemState_Powering = "Powering";
const char* pStr_enumBoxsItemState_NoPower = "Not powered";
const char* pStr_enumBoxsItemState_NotPowering = "Not powering";
const char* pStr_enumBoxsItemState_Incompatible = "Incompatible";

const char* pStr_enumBoxsTempsensorState_None = "Not applicable";
const char* pStr_enumBoxsTempsensorState_Normal = "Normal";
const char* pStr_enumBoxsTempsensorState_Warning = "Warning";
const char* pStr_enumBoxsTempsensorState_Critical = "Critical";
const char* pStr_enumBoxsTempsensorState_Shutdown = "Shutdown";
const char* pStr_enumBoxsTempsensorState_NotPresent = "Not present";
const char* pStr_enumBoxsTempsensorState_NotOperational = "Not operational";

const char* pStr_enumSfpModuleType_None = "None";
const char* pStr_enumSfpModuleType_Sfp = "SFP";
const char* pStr_enumSfpModuleType_SfpPlus = "SFP+";
const char* pStr_enumSfpModuleType_Qsfp = "QSFP";
const char* pStr_enumSfpModuleType_Dac = "Direct Attach Cable";
const char* pStr_enumSfpModuleType_Giobre = "XFP, GIOBRE, 10G plugin module";
const char* pStr_enumSfpModuleType_Ax742 = "Stacking module, AX742";
const char* pStr_enumSfpModuleType_Ax743 = "SFP+ plugin module, AX743";
const char* pStr_enumSfpModuleType_Ax744 = "CX4 plugin module, AX744";
const char* pStr_enumSfpModuleType_Ax745 = "Copper 10G plugin module, AX745";
