include( ${CMAKE_CURRENT_LIST_DIR}/FlowspecDalbTypesTargets.cmake )
