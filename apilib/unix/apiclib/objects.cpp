// Finding, creating, testing, deleting objects.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

V_ObjHandleT V_ApiGetNamedObject(V_ObjHandleT doc, IntT type, const char *name)
{ return scalar(api_vq_get_named_object_1, {doc, type, in(name)}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiGetUniqueObject(V_ObjHandleT doc, IntT type, IntT number)
{ return scalar(api_vq_get_unique_object_1, {doc, type, number}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewGraphicObject(V_ObjHandleT doc, IntT type, V_ObjHandleT parent)
{ return scalar(api_vq_new_graphic_object_1, {doc, type, parent}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewNamedObject(V_ObjHandleT doc, IntT type, const char *name)
{ return scalar(api_vq_new_named_object_1, {doc, type, in(name)}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewAnchoredObject(V_ObjHandleT doc, IntT type, const V_TextLocT *loc)
{ return scalar(api_vq_new_anchored_object_1, {doc, type, *loc}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewAnchoredFormattedObject(V_ObjHandleT doc, IntT type, const char *format, const V_TextLocT *loc)
{ return scalar(api_vq_new_anchored_formatted_object_1, {doc, type, in(format), *loc}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewSubObject(V_ObjHandleT doc, V_ObjHandleT parent, IntT type)
{ return scalar(api_vq_new_sub_object_1, {doc, parent, type}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewSeriesObject(V_ObjHandleT doc, IntT type, V_ObjHandleT previous)
{ return scalar(api_vq_new_series_object_1, {doc, type, previous}, &ApiVqObjRetT::objId); }

IntT V_ApiObjectValid(V_ObjHandleT doc, V_ObjHandleT obj)
{ return status(api_vq_object_valid_1, {doc, obj}) == 0; }

IntT V_ApiDelete(V_ObjHandleT doc, V_ObjHandleT obj)
{ return status(api_vq_delete_1, {doc, obj}); }
