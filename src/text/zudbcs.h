// Character helpers and free string functions over caller-owned text, narrow and UTF-16: this header gives
// them all. Each family has its own header too.

#ifndef ZULIB_TEXT_ZUDBCS_H
#define ZULIB_TEXT_ZUDBCS_H

#include "text/strcase.h"
#include "text/strcompare.h"
#include "text/strcopy.h"
#include "text/strfind.h"
#include "text/strlike.h"
#include "text/strquote.h"
#include "text/strtrim.h"
#include "text/zuchar.h"

#endif
