// Everything a host or the module needs from the platform runtime. On
// Windows the functions the headers declare are the system's own (but for the
// ZQ ones), and their comments, which tell what the Linux runtime does, yield
// to the system's documentation where the two differ.
#pragma once

#include "zqplatform/debugapi.h"
#include "zqplatform/fileapi.h"
#include "zqplatform/heapapi.h"
#include "zqplatform/memoryapi.h"
#include "zqplatform/module.h"
#include "zqplatform/modulehandle.h"
#include "zqplatform/objbase.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/registry.h"
#include "zqplatform/status.h"
#include "zqplatform/strmif.h"
#include "zqplatform/sync.h"
#include "zqplatform/text.h"
#include "zqplatform/timerqueue.h"
#include "zqplatform/types.h"
#include "zqplatform/winuser.h"
