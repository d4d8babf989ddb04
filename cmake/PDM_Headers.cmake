# The library's public headers, by name: what PDM_Core.h brings, and what the source of a host's own class includes.
# A header that is missing here is installed nowhere, and the package's tests say so. The platform's are named where its
# libraries are declared.
set(PDM_PUBLIC_HEADERS
  kda/kda_Export.h kda/kda_List.h kda/kda_List_Impl.h kda/kda_MapInt.h kda/kda_MapIntKey.h kda/kda_MapString.h
  kda/kda_Module.h kda/kda_ValueTypes.h kda/kda_none.h kda/kda_string.h
  omi/omi_Btree.h omi/omi_BtreeIterator.h omi/omi_BtreeNode.h omi/omi_BtreeNodeLink.h omi/omi_BtreeNode_Impl.h
  omi/omi_BtreePath.h omi/omi_Btree_Impl.h
  gbb/gbb_AutoArray.h gbb/gbb_Call.h gbb/gbb_Class.h gbb/gbb_ClassTexts.h gbb/gbb_Context.h
  gbb/gbb_DistributionService.h gbb/gbb_Freshness.h gbb/gbb_Group.h gbb/gbb_Handle.h gbb/gbb_Link.h
  gbb/gbb_MemoryStream.h gbb/gbb_Module.h gbb/gbb_ObjectInterface.h gbb/gbb_Path.h gbb/gbb_SchemaSnapshot.h
  gbb/gbb_String.h gbb/gbb_TraverseContext.h
  gbb/pattern/gbb_Array.h gbb/pattern/gbb_ArrayImpl.h gbb/pattern/gbb_Children.h gbb/pattern/gbb_Holder.h
  gbb/pattern/gbb_MemberCodec.h gbb/pattern/gbb_MemberTable.h gbb/pattern/gbb_ObjectAccess.h
  gbb/pattern/gbb_ObjectForward.h gbb/pattern/gbb_ObjectHandle.h gbb/pattern/gbb_ObjectHolder.h
  gbb/pattern/gbb_ObjectImpl.h gbb/pattern/gbb_Pattern.h gbb/pattern/gbb_PatternChildren.h
  gbb/pattern/gbb_PatternClass.h gbb/pattern/gbb_PatternHandle.h gbb/pattern/gbb_PatternHolder.h
  gbb/pattern/gbb_PatternImpl.h gbb/pattern/gbb_Removed.h gbb/pattern/gbb_Repository.h
  gbb/pattern/gbb_SchemaClass.h gbb/pattern/gbb_Slots.h gbb/pattern/gbb_Text.h
  fes/fesD_Module.h fes/fesD_Utilities.h
  msf/msfD_Module.h msf/msfD_Root.h msf/msfD_Sim.h
  generated/fes/dpa/fesD_FESystem.h generated/fes/dpa/fesD_GenericSystem.h generated/fes/dpa/fesD_ModalEvent.h
  generated/fes/dpa/fesD_ModalSystem.h generated/fes/dpa/fesD_NodalDofDefinition.h
  generated/fes/dpa/fesD_SubDamp.h generated/fes/dpa/fesD_SubstructureSystem.h
  generated/msf/dpa/msfD_DiscreteModel.h generated/msf/dpa/msfD_Mesh.h
  c/pdm.h
  pdm/pdm.hpp pdm/pdm_Block.h pdm/pdm_Call.h pdm/pdm_ElementType.h pdm/pdm_Error.h pdm/pdm_Field.h pdm/pdm_FieldImpl.h
  pdm/pdm_Fields.h pdm/pdm_Iterator.h pdm/pdm_Map.h pdm/pdm_Mesh.h pdm/pdm_Numbering.h pdm/pdm_Numbers.h pdm/pdm_Object.h
  pdm/pdm_Set.h pdm/pdm_Sim.h
  pdm/pdm_SimImpl.h pdm/pdm_System.h pdm/pdm_Systems.h)
