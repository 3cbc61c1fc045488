# SPDX-License-Identifier: BSD-3-Clause
# What a room is to the build.
#
# tonalign_add_room(name [PROGRAM] SOURCES file... [PUBLIC_HEADERS file...] [PRIVATE_HEADERS file...]
#                   [DEPENDS room...] [USES target...])
#
# One room per folder. Its code is compiled once, as tonalign_<name>_objects, and goes into the one library,
# libtonalign; whoever uses the room links tonalign_<name> (alias tonalign::<name>, also from an installed package).
# Headers are spelled "<name>/Header.h" everywhere, inside this tree and outside; only the public ones are installed, and
# they include no others.
#
# PROGRAM: the room is no part of the library; its objects go into the programs that link it, and nothing of it is
# installed. DEPENDS: the rooms whose code this one may use; the tests hold it to them. USES: targets from elsewhere.
function(tonalign_add_room name)
    cmake_parse_arguments(ROOM "PROGRAM" "" "SOURCES;PUBLIC_HEADERS;PRIVATE_HEADERS;DEPENDS;USES" ${ARGN})
    set(objects tonalign_${name}_objects)
    add_library(${objects} OBJECT ${ROOM_SOURCES} ${ROOM_PUBLIC_HEADERS} ${ROOM_PRIVATE_HEADERS})
    target_include_directories(${objects} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${objects} PRIVATE tonalign_flags ${ROOM_USES})
    set_target_properties(${objects} PROPERTIES TONALIGN_DEPENDS "${ROOM_DEPENDS}")
    set_property(GLOBAL APPEND PROPERTY TONALIGN_ROOMS ${name})

    add_library(tonalign_${name} INTERFACE)
    add_library(tonalign::${name} ALIAS tonalign_${name})
    target_link_libraries(tonalign_${name} INTERFACE tonalign_library)
    if(ROOM_PROGRAM)
        target_sources(tonalign_${name} INTERFACE $<TARGET_OBJECTS:${objects}>)
        target_link_libraries(tonalign_${name} INTERFACE ${ROOM_USES})
    else()
        target_sources(tonalign_library
            PRIVATE $<TARGET_OBJECTS:${objects}>
            PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ROOM_PUBLIC_HEADERS})
        target_link_libraries(tonalign_library PRIVATE ${ROOM_USES})
        set_target_properties(tonalign_${name} PROPERTIES EXPORT_NAME ${name})
        install(TARGETS tonalign_${name} EXPORT tonalignTargets)
    endif()
endfunction()
