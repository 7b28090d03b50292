// Everything the library exports.
#pragma once

#include "kqb/kqbconfigfile.h"
#include "kqb/kqbconfigoptions.h"
#include "kqb/kqbconfigoverlay.h"
#include "kqb/kqbdate.h"
#include "kqb/kqbdirectorylisting.h"
#include "kqb/kqbhost.h"
#include "kqb/kqblog.h"
#include "kqb/kqbmempool.h"
#include "kqb/kqbmessage.h"
#include "kqb/kqbpath.h"
#include "kqb/kqbstring.h"
#include "kqb/kqbstringformat.h"
#include "kqb/kqbtxtfile.h"
#include "kqb/kqbunicodeconv.h"
