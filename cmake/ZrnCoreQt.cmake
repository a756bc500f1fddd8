# The QObject front end of the renderer, RendererController, as a library of
# its own (target ZrnCoreQt, ZrnCore::Object to consumers), so that the core
# library stays free of QObject and moc. Included by the root CMakeLists.txt
# after the core library is defined.

add_library(ZrnCoreQt SHARED
  ${PROJECT_SOURCE_DIR}/src/Qt/RendererController.cpp
  ${PROJECT_SOURCE_DIR}/include/ZrnCore/RendererController.h)
add_library(ZrnCore::Object ALIAS ZrnCoreQt)

generate_export_header(ZrnCoreQt
  BASE_NAME ZRNCOREQT
  EXPORT_FILE_NAME ${ZRNCORE_GENERATED_INCLUDE_DIR}/ZrnCore/zrncoreqt_export.h)

target_link_libraries(ZrnCoreQt PUBLIC ZrnCore ${ZRNCORE_QT_CORE_TARGET})
target_compile_options(ZrnCoreQt PRIVATE ${ZRNCORE_WARNINGS})
target_compile_definitions(ZrnCoreQt PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII)
set_target_properties(ZrnCoreQt PROPERTIES
  AUTOMOC ON
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
  EXPORT_NAME Object)
