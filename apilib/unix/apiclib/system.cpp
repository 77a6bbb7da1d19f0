// The host's commands, pauses, programs, progress, colours.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

IntT V_ApiFcodes(IntT count, const IntT *codes)
{ return status(api_vq_fcodes_1, {{in(count), const_cast<IntT *>(codes)}}); }

IntT V_ApiHypertextCommand(V_ObjHandleT id1, const char *command)
{ return status(api_vq_hypertext_command_1, {id1, in(command)}); }

IntT V_ApiUserInteractSelection(IntT int1)
{ return status(api_vq_user_interact_selection_1, {int1}); }

IntT V_ApiSleep(IntT seconds)
{ return answered(api_vq_sleep_1, seconds) ? 0 : seconds; }

IntT V_ApiUSleep(IntT microseconds)
{ return answered(api_vq_usleep_1, microseconds) ? 0 : microseconds; }

IntT V_ApiUserCancel(void)
{ return plain(api_vq_user_cancel_1, 0); }

IntT V_ApiSystemShell(const char *command)
{ return plain(api_vq_system_shell_1, in(command)); }

IntT V_ApiForkAndExec(const char *program, const V_StringsT *arguments)
{ return plain(api_vq_fork_and_exec_1, {in(program), *arguments}); }

IntT V_ApiReturnValue(IntT value)
{ return plain(api_vq_return_value_1, value, 0); }

IntT V_ApiChangeColorPalette(V_ObjHandleT id1, const V_MetricsT *metrics2, V_ObjHandleT id3, const V_MetricsT *metrics4, V_ObjHandleT id5, const V_MetricsT *metrics6, V_ObjHandleT id7, const V_MetricsT *metrics8, const V_MetricsT *metrics9, V_ObjHandleT id10)
{ return status(api_vq_change_color_palette_1, {id1, *metrics2, id3, *metrics4, id5, *metrics6, id7, *metrics8, *metrics9, id10}); }

// clang-format on

IntT V_Progress(IntT value)
{
    IntT before = VA_errno;
    VA_errno = 0;
    V_ApiSetInt(0, 0, V_prop_progress, value);
    IntT result = VA_errno ? -1 : 0;
    VA_errno = before;
    return result;
}
