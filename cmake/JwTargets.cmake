# Helpers that give every target of the project the same shape.

# Compile options for the project's own code (never for third-party code).
function(jw_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
    if(JW_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    target_compile_definitions(${target} PRIVATE
        QT_NO_KEYWORDS
        QT_NO_CONTEXTLESS_CONNECT
        QT_NO_FOREACH
        QT_USE_QSTRINGBUILDER)
endfunction()

# jw_add_layer(<name> [SOURCES ...] [DEPENDS <layers>...] [QT <components>...]
#              [LIBS <targets>...])
# One static library per layer, named jw_<name>. A layer may list only the
# layers below it, which keeps dependencies pointing one way. A layer without
# sources yet is an interface library, so the layers above can already link it.
function(jw_add_layer name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;QT;LIBS" ${ARGN})
    set(target jw_${name})
    set(deps)
    foreach(layer IN LISTS ARG_DEPENDS)
        list(APPEND deps jw_${layer})
    endforeach()
    foreach(component IN LISTS ARG_QT)
        list(APPEND deps Qt6::${component})
    endforeach()
    list(APPEND deps ${ARG_LIBS})

    if(ARG_SOURCES)
        add_library(${target} STATIC ${ARG_SOURCES})
        target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/src)
        target_link_libraries(${target} PUBLIC ${deps})
        jw_set_warnings(${target})
    else()
        add_library(${target} INTERFACE)
        target_include_directories(${target} INTERFACE ${PROJECT_SOURCE_DIR}/src)
        target_link_libraries(${target} INTERFACE ${deps})
    endif()
endfunction()

# jw_add_test_suite(<layer> [WIDGETS] SOURCES ... [LIBS ...])
# One GoogleTest executable per layer; every test runs in its own process on
# Qt's offscreen platform with fresh XDG folders (see tests/common). WIDGETS
# makes the suite's application a QApplication; layers below windows/ get a
# QGuiApplication and never link Qt Widgets.
function(jw_add_test_suite layer)
    cmake_parse_arguments(ARG "WIDGETS" "" "SOURCES;LIBS" ${ARGN})
    set(target jw-${layer}-tests)
    if(ARG_WIDGETS)
        set(main jw_test_main_widgets)
    else()
        set(main jw_test_main_gui)
    endif()
    add_executable(${target} ${ARG_SOURCES} $<TARGET_OBJECTS:${main}>)
    target_link_libraries(${target} PRIVATE jw_testsupport jw_${layer} ${ARG_LIBS})
    if(ARG_WIDGETS)
        target_link_libraries(${target} PRIVATE Qt6::Widgets)
    endif()
    jw_set_warnings(${target})
    gtest_discover_tests(${target}
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen;JW_TEST_DATA=${PROJECT_SOURCE_DIR}/tests/data"
                   TIMEOUT 120)
endfunction()
