// kelm-lib: every public header.
#ifndef KELM_KELM_H_
#define KELM_KELM_H_

#include "kelm/port/win_types.h"

#include "kelm/frame/dlls.h"
#include "kelm/frame/error_messager.h"
#include "kelm/frame/errors.h"
#include "kelm/frame/exceptions.h"
#include "kelm/frame/fatal_terminator.h"
#include "kelm/frame/global_vars.h"
#include "kelm/frame/kelm_lib_instance.h"
#include "kelm/frame/message_table.h"
#include "kelm/frame/startup.h"
#include "kelm/frame/sync.h"
#include "kelm/frame/thread.h"
#include "kelm/frame/work_mode.h"

#include "kelm/datetime/date.h"
#include "kelm/datetime/date_interval.h"
#include "kelm/datetime/date_time_utils.h"
#include "kelm/datetime/mask_text.h"
#include "kelm/datetime/time.h"
#include "kelm/datetime/time_stamp.h"
#include "kelm/datetime/units.h"

#include "kelm/text/char_classes.h"
#include "kelm/text/divide.h"
#include "kelm/text/file_name.h"
#include "kelm/text/mask.h"
#include "kelm/text/number_text.h"
#include "kelm/text/oem_code_page.h"
#include "kelm/text/string.h"
#include "kelm/text/text_buffer.h"

#include "kelm/containers/array.h"
#include "kelm/containers/collection.h"
#include "kelm/containers/intrusive_list.h"

#include "kelm/streams/block_manager.h"
#include "kelm/streams/crc.h"
#include "kelm/streams/fstream.h"
#include "kelm/streams/ifstream.h"
#include "kelm/streams/md5.h"
#include "kelm/streams/mem_stream.h"
#include "kelm/streams/stream.h"
#include "kelm/streams/stream_hash.h"
#include "kelm/streams/text_stream.h"

#include "kelm/files/file_system_factory.h"
#include "kelm/files/file_utils.h"
#include "kelm/files/logical_drive_iterator.h"

#include "kelm/localization/dic_file.h"
#include "kelm/localization/dic_string.h"
#include "kelm/localization/localization_exception.h"
#include "kelm/localization/mask_dic.h"
#include "kelm/localization/translator.h"

#include "kelm/variant/func_list.h"
#include "kelm/variant/object_io.h"
#include "kelm/variant/rpc_file.h"
#include "kelm/variant/variant.h"

#include "kelm/threadpool/thread_pool.h"

#include "kelm/log/base_log.h"
#include "kelm/log/log_stream_buf.h"

#endif  // KELM_KELM_H_
