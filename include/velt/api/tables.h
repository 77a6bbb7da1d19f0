/* Tables. Failures as in session.h. */
#ifndef VELT_API_TABLES_H
#define VELT_API_TABLES_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* Creates a table of a format at a place in text; returns its id. */
V_ObjHandleT V_ApiNewTable(V_ObjHandleT doc, const char *format, IntT int3, IntT int4, IntT int5,
                           IntT int6, const V_TextLocT *loc);
/* Adds rows. */
IntT V_ApiAddRows(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4);
/* Adds columns. */
IntT V_ApiAddCols(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4, IntT int5);
/* Deletes rows; the fields for columns are sent as 0. */
IntT V_ApiDeleteRows(V_ObjHandleT doc, V_ObjHandleT id2, V_ObjHandleT id3, IntT int4);
/* Deletes columns; the fields for rows are sent as 0. */
IntT V_ApiDeleteCols(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4);
/* Selects a part of a table. */
IntT V_ApiMakeTblSelection(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4, IntT int5,
                           IntT int6);
/* Lets a cell straddle others. */
IntT V_ApiStraddleCells(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4);
/* Undoes the straddling of cells. */
IntT V_ApiUnStraddleCells(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3, IntT int4);

VELT_END_DECLS

#endif
