# What a loaded module has of its own: embedded resources, a version, and exports.

# sp_embed_resources(TARGET SYMBOL TYPE ID FILE [TYPE ID FILE ...]): the resources are linked into each module that links
# TARGET. SYMBOL is the start of that module, which is what the system takes for its handle.
function(sp_embed_resources target symbol)
    set(entries ${ARGN})
    set(rows "")
    set(files "")
    while(entries)
        list(POP_FRONT entries type id file)
        get_filename_component(file "${file}" ABSOLUTE)
        string(APPEND rows "${id} ${type} \"${file}\"\n")
        list(APPEND files "${file}")
    endwhile()
    sp_link_resources(${target} ${symbol} "${rows}" "${files}")
    target_compile_definitions(${target} PRIVATE ${symbol}=__ImageBase)
endfunction()

# Compiles the text of a resource script and links it into TARGET, or into what links a library TARGET.
function(sp_link_resources target name script files)
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${target}_${name}.rc")
    file(GENERATE OUTPUT "${source}" CONTENT "${script}")
    add_library(${target}_${name} OBJECT "${source}")
    set_source_files_properties("${source}" PROPERTIES OBJECT_DEPENDS "${files}")
    target_link_libraries(${target} PUBLIC $<TARGET_OBJECTS:${target}_${name}>)
endfunction()

# sp_export(TARGET MAP SYMBOL...): the module exports SYMBOL and nothing else, and says the project's version.
function(sp_export target map)
    list(JOIN ARGN "\n    " symbols)
    set(definition "${CMAKE_CURRENT_BINARY_DIR}/${target}.def")
    file(GENERATE OUTPUT "${definition}" CONTENT "EXPORTS\n    ${symbols}\n")
    target_sources(${target} PRIVATE "${definition}")
    sp_version_resource(${target})
endfunction()

function(sp_version_resource target)
    set(numbers "${PROJECT_VERSION_MAJOR},${PROJECT_VERSION_MINOR},0,0")
    get_target_property(name ${target} OUTPUT_NAME)
    get_target_property(suffix ${target} SUFFIX)
    sp_link_resources(${target} version
"1 VERSIONINFO
FILEVERSION ${numbers}
PRODUCTVERSION ${numbers}
FILEOS 0x40004L
FILETYPE 2
BEGIN
  BLOCK \"StringFileInfo\"
  BEGIN
    BLOCK \"040904B0\"
    BEGIN
      VALUE \"FileDescription\", \"SharePoint sites as a file system of the editor\"
      VALUE \"FileVersion\", \"${PROJECT_VERSION}\"
      VALUE \"InternalName\", \"${name}\"
      VALUE \"OriginalFilename\", \"${name}${suffix}\"
      VALUE \"ProductName\", \"${name}\"
      VALUE \"ProductVersion\", \"${PROJECT_VERSION}\"
    END
  END
  BLOCK \"VarFileInfo\"
  BEGIN
    VALUE \"Translation\", 0x409, 1200
  END
END
" "")
endfunction()
