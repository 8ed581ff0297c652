// Everything a host or the module needs from the platform runtime.
#pragma once

#include "zqplatform/objbase.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/status.h"
#include "zqplatform/strmif.h"
#include "zqplatform/sync.h"
#include "zqplatform/text.h"
#include "zqplatform/types.h"
