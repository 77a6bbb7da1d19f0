// Tables.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

V_ObjHandleT V_ApiNewTable(V_ObjHandleT doc, const char *format, IntT int3, IntT int4, IntT int5, IntT int6, const V_TextLocT *loc)
{ return scalar(api_vq_new_table_1, {doc, in(format), int3, int4, int5, int6, *loc}, &ApiVqObjRetT::objId); }

IntT V_ApiAddRows(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4)
{ return status(api_vq_add_rows_1, {doc, id2, int3, int4}); }

IntT V_ApiAddCols(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4, IntT int5)
{ return status(api_vq_add_columns_1, {doc, id2, int3, int4, int5}); }

IntT V_ApiDeleteRows(V_ObjHandleT doc, V_ObjHandleT id2, V_ObjHandleT id3, IntT int4)
{ return status(api_vq_cut_table_parts_1, {doc, id2, id3, int4, 0, 0}); }

IntT V_ApiDeleteCols(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4)
{ return status(api_vq_cut_table_parts_1, {doc, id2, 0, 0, int3, int4}); }

IntT V_ApiMakeTblSelection(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4, IntT int5, IntT int6)
{ return status(api_vq_make_table_selection_1, {doc, id2, int3, int4, int5, int6}); }

IntT V_ApiStraddleCells(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4)
{ return status(api_vq_straddle_cells_1, {doc, id2, int3, int4, 1}); }

IntT V_ApiUnStraddleCells(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4)
{ return status(api_vq_straddle_cells_1, {doc, id2, int3, int4, 0}); }
