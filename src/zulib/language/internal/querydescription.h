// The description of a query: a line SET.QUERY.DESCRIPTION ('text') in the text of its definition. Quotes in
// it are not doubled.

#ifndef ZULIB_LANGUAGE_INTERNAL_QUERYDESCRIPTION_H
#define ZULIB_LANGUAGE_INTERNAL_QUERYDESCRIPTION_H

#include "zulib/text/zustring.h"

namespace zuquery {

// Appends what lies between the first and the last apostrophe of the line, of which no more is read than 255
// characters of text need. 0; or 1 without an error if there is no line, or if an allocation fails.
int getDescription(const ZuSubString& definition, ZuString* text);

// Appends the definition to `changed` with another description in its line, or with a new line at its start;
// without blanks at its end. 0, or 1 if an allocation fails.
int setDescription(const ZuSubString& definition, const ZuSubString& text, ZuString* changed);

}  // namespace zuquery

#endif
