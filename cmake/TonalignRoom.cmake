# tonalign_add_room(name SOURCES ... HEADERS ... [DEPENDS room...])
#
# One library target per folder: tonalign_<name>, with the alias tonalign::<name>. Headers are spelled
# "<name>/Header.h" everywhere, inside this tree and from an installed package.
function(tonalign_add_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;HEADERS;DEPENDS" ${ARGN})
    set(target tonalign_${name})
    add_library(${target} ${ROOM_SOURCES})
    add_library(tonalign::${name} ALIAS ${target})
    target_sources(${target} PUBLIC FILE_SET HEADERS
        BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ROOM_HEADERS})
    target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:tonalign_flags>)
    foreach(room IN LISTS ROOM_DEPENDS)
        target_link_libraries(${target} PUBLIC tonalign_${room})
    endforeach()
endfunction()
