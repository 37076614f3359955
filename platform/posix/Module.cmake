# What a loaded module has of its own: embedded resources and exports.

# sp_embed_resources(TARGET SYMBOL TYPE ID FILE [TYPE ID FILE ...]): puts the files' bytes into the target and
# defines `extern const ModuleResources SYMBOL;` (global namespace) over them; a changed file is built in again.
function(sp_embed_resources target symbol)
    set(entries ${ARGN})
    set(data "")
    set(rows "")
    set(files "")
    set(index 0)
    while(entries)
        list(POP_FRONT entries type id file)
        get_filename_component(file "${file}" ABSOLUTE)
        set(label ".L${symbol}_${index}")
        string(HEX "${type}" type_bytes)
        string(REGEX REPLACE "(..)" "0x\\1, 0, " type_bytes "${type_bytes}")
        string(APPEND data
            "    .balign 16\n${label}_type:\n    .byte ${type_bytes}0, 0\n"
            "    .balign 16\n${label}_begin:\n    .incbin \"${file}\"\n${label}_end:\n    .byte 0\n")
        string(APPEND rows
            "    .quad ${label}_type\n    .quad ${id}\n    .quad ${label}_begin\n    .quad ${label}_end - ${label}_begin\n")
        list(APPEND files "${file}")
        math(EXPR index "${index} + 1")
    endwhile()
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${target}_${symbol}.S")
    # The rows have the layout of ResourceEntry and ModuleResources on a 64-bit little-endian machine.
    file(GENERATE OUTPUT "${source}" CONTENT
        "    .section .rodata\n${data}
    .section .data.rel.ro, \"aw\"
    .balign 8
.L${symbol}_entries:
${rows}
    .global ${symbol}
    .hidden ${symbol}
${symbol}:
    .quad .L${symbol}_entries
    .quad ${index}
    .section .note.GNU-stack, \"\", @progbits
")
    set_source_files_properties("${source}" PROPERTIES OBJECT_DEPENDS "${files}")
    target_sources(${target} PRIVATE "${source}")
    target_link_libraries(${target} PRIVATE sp_platform)
endfunction()

# sp_export(TARGET MAP SYMBOL): the functions that the version script MAP names are all that the module exports.
function(sp_export target map)
    target_link_options(${target} PRIVATE
        -Wl,--version-script=${map} -Wl,--exclude-libs,ALL -Wl,--no-undefined)
    set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET default LINK_DEPENDS ${map})
endfunction()
