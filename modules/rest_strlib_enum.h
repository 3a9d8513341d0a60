// Display strings of the switch's hardware enumerations: one set of writable pointers that every
// lookup copies from.
#pragma once

extern const char* pStr_common_Unknown;

extern const char* pStr_enumBoxsItemType_None;
extern const char* pStr_enumBoxsItemType_Fixed;
extern const char* pStr_enumBoxsItemType_Removable;

extern const char* pStr_enumBoxsItemState_None;
extern const char* pStr_enumBoxsItemState_NotPresent;
extern const char* pStr_enumBoxsItemState_Operational;
extern const char* pStr_enumBoxsItemState_Failed;
extern const char* pStr_enumBoxsItemState_Powering;
extern const char* pStr_enumBoxsItemState_NoPower;
extern const char* pStr_enumBoxsItemState_NotPowering;
extern const char* pStr_enumBoxsItemState_Incompatible;

extern const char* pStr_enumBoxsTempsensorState_None;
extern const char* pStr_enumBoxsTempsensorState_Normal;
extern const char* pStr_enumBoxsTempsensorState_Warning;
extern const char* pStr_enumBoxsTempsensorState_Critical;
extern const char* pStr_enumBoxsTempsensorState_Shutdown;
extern const char* pStr_enumBoxsTempsensorState_NotPresent;
extern const char* pStr_enumBoxsTempsensorState_NotOperational;

extern const char* pStr_enumSfpModuleType_None;
extern const char* pStr_enumSfpModuleType_Sfp;
extern const char* pStr_enumSfpModuleType_SfpPlus;
extern const char* pStr_enumSfpModuleType_Qsfp;
extern const char* pStr_enumSfpModuleType_Dac;
extern const char* pStr_enumSfpModuleType_Giobre;
extern const char* pStr_enumSfpModuleType_Ax742;
extern const char* pStr_enumSfpModuleType_Ax743;
extern const char* pStr_enumSfpModuleType_Ax744;
extern const char* pStr_enumSfpModuleType_Ax745;
