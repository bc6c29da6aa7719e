// Ids of the runtime tests' string resources; one absent id for the failure path.
#pragma once

#define kWindowFormatId 101
#define kPlainTextId 102
#define kMissingId 199
