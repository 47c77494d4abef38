#include "TQFoundation/TQFoundationVersion.h"

const double TQFoundationVersionNumber = 1.0;
const char TQFoundationVersionString[] = "@(#)PROGRAM:TQFoundation  PROJECT:TQFoundation-1.0\n";
