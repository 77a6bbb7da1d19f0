// The element structure and its attributes.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

V_ObjHandleT V_ApiNewElement(V_ObjHandleT doc, V_ObjHandleT def, const V_TextLocT *loc)
{ return scalar(api_vq_new_element_1, {doc, def, *loc}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewElementInHierarchy(V_ObjHandleT doc, V_ObjHandleT def, const V_ElementLocT *loc)
{ return scalar(api_vq_new_element_in_hierarchy_1, {doc, def, *loc}, &ApiVqObjRetT::objId); }

void V_ApiWrapElement(V_ObjHandleT doc, V_ObjHandleT def)
{ set(api_vq_wrap_element_1, {doc, def}); }

void V_ApiUnWrapElement(V_ObjHandleT doc)
{ set(api_vq_unwrap_element_1, {doc}); }

void V_ApiMergeIntoFirst(V_ObjHandleT doc)
{ set(api_vq_merge_into_first_1, {doc}); }

void V_ApiMergeIntoLast(V_ObjHandleT doc)
{ set(api_vq_merge_into_last_1, {doc}); }

void V_ApiSplitElement(V_ObjHandleT doc)
{ set(api_vq_split_element_1, {doc}); }

void V_ApiPromoteElement(V_ObjHandleT doc)
{ set(api_vq_promote_element_1, {doc}); }

void V_ApiDemoteElement(V_ObjHandleT doc)
{ set(api_vq_demote_element_1, {doc}); }

V_TextLocT V_ApiElementLocToTextLoc(V_ObjHandleT doc, const V_ElementLocT *loc)
{ return aggregate(api_vq_elementloc_to_textloc_1, {doc, *loc}, &ApiVqElementLocToTextLocRetT::textLoc); }

V_ElementLocT V_ApiTextLocToElementLoc(V_ObjHandleT doc, const V_TextLocT *loc)
{ return aggregate(api_vq_textloc_to_elementloc_1, {doc, *loc}, &ApiVqTextLocToElementLocRetT::elemLoc); }

V_ElementCatalogEntriesT V_ApiGetElementCatalog(V_ObjHandleT doc)
{ return aggregate(api_vq_get_element_catalog_1, {doc, doc, by_number(V_prop_element_catalog)}, &ApiVqGetElementCatalogRetT::catalog); }

V_AttributeDefsT V_ApiGetAttributeDefs(V_ObjHandleT doc, V_ObjHandleT def)
{ return aggregate(api_vq_get_attribute_defs_1, {doc, def, by_number(V_prop_attribute_definitions)}, &ApiVqGetAttributeDefsRetT::attrDefs); }

void V_ApiSetAttributeDefs(V_ObjHandleT doc, V_ObjHandleT def, const V_AttributeDefsT *value)
{ set(api_vq_set_attribute_defs_1, {doc, def, by_number(V_prop_attribute_definitions), *value}); }

V_AttributesT V_ApiGetAttributes(V_ObjHandleT doc, V_ObjHandleT element)
{ return aggregate(api_vq_get_attributes_1, {doc, element, by_number(V_prop_attributes)}, &ApiVqGetAttributesRetT::attrs); }

void V_ApiSetAttributes(V_ObjHandleT doc, V_ObjHandleT element, const V_AttributesT *value)
{ set(api_vq_set_attributes_1, {doc, element, by_number(V_prop_attributes), *value}); }

IntT V_ApiDeleteUndefinedAttribute(V_ObjHandleT id1, const char *attribute, IntT int3, V_ObjHandleT id4)
{ return status(api_vq_delete_undefined_attribute_1, {id1, in(attribute), int3, id4}); }
