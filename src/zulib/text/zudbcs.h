// Character helpers and free string functions over caller-owned text, narrow and UTF-16: this header gives
// them all. Each family has its own header too.

#ifndef ZULIB_TEXT_ZUDBCS_H
#define ZULIB_TEXT_ZUDBCS_H

#include "zulib/text/strcase.h"
#include "zulib/text/strcompare.h"
#include "zulib/text/strcopy.h"
#include "zulib/text/strfind.h"
#include "zulib/text/strlike.h"
#include "zulib/text/strquote.h"
#include "zulib/text/strtrim.h"
#include "zulib/text/zuchar.h"

#endif
