/* vurotarn.h - everything libtarn exports, in one include. */
#ifndef VUROTARN_H
#define VUROTARN_H

#include "vurotarn_common.h"
#include "vurotarn_error.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_plugin.h"
#include "vurotarn_sqlite.h"
#include "vurotarn_tree.h"
#include "vurotarn_type.h"
#include "vurotarn_uid.h"
#include "vurotarn_delete.h"
#include "vurotarnapp.h"
#include "vurotarndelegate.h"
#include "vurotarndelegate_target.h"
#include "vurotarngpo.h"
#include "vurotarngpo_delegate.h"
#include "vurotarngpo_evaluate.h"
#include "vurotarngpo_link.h"
#include "vurotarngpo_version.h"
#include "vurotarninfo.h"
#include "vurotarnou.h"
#include "vurotarnlog.h"
#include "vurotarnpeer.h"
#include "vurotarnpeer_webapi.h"
#include "vurotarnpeer_scout.h"
#include "vurotarnpeer_updateserver.h"
#include "vurotarnpeer_join.h"
#include "vurotarnpkg.h"

#endif
