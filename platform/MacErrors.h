// Toolbox result codes that the platform layer produces. Positive codes belong
// to the plug-in and are defined beside their users.
#pragma once

#include "MacTypes.h"

constexpr OSErr noErr = 0;
constexpr OSErr paramErr = -50;

// File Manager
constexpr OSErr dirFulErr = -33;
constexpr OSErr dskFulErr = -34;
constexpr OSErr nsvErr = -35;
constexpr OSErr ioErr = -36;
constexpr OSErr bdNamErr = -37;
constexpr OSErr fnOpnErr = -38;
constexpr OSErr eofErr = -39;
constexpr OSErr posErr = -40;
constexpr OSErr tmfoErr = -42;
constexpr OSErr fnfErr = -43;
constexpr OSErr wPrErr = -44;
constexpr OSErr fLckdErr = -45;
constexpr OSErr vLckdErr = -46;
constexpr OSErr fBsyErr = -47;
constexpr OSErr dupFNErr = -48;
constexpr OSErr opWrErr = -49;
constexpr OSErr rfNumErr = -51;
constexpr OSErr permErr = -54;
constexpr OSErr wrPermErr = -61;
constexpr OSErr dirNFErr = -120;
constexpr OSErr notAFileErr = -1302;

// Memory Manager
constexpr OSErr memFullErr = -108;
constexpr OSErr nilHandleErr = -109;
constexpr OSErr memWZErr = -111;
constexpr OSErr memSCErr = -116;
constexpr OSErr memLockedErr = -117;
