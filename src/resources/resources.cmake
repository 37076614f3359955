# What the library carries in itself: type, id, file.
sp_embed_resources(sp_base g_sharepoint_resources
    XML 101 ${CMAKE_CURRENT_SOURCE_DIR}/resources/dialogs.xml
    XML 102 ${CMAKE_CURRENT_SOURCE_DIR}/resources/localization.xml
    XML 103 ${CMAKE_CURRENT_SOURCE_DIR}/resources/settings_template.xml
    PNG 104 ${CMAKE_CURRENT_SOURCE_DIR}/resources/icon_16.png
    PNG 105 ${CMAKE_CURRENT_SOURCE_DIR}/resources/icon_24.png
    PNG 106 ${CMAKE_CURRENT_SOURCE_DIR}/resources/icon_32.png
    PNG 107 ${CMAKE_CURRENT_SOURCE_DIR}/resources/icon_48.png
    XML 108 ${CMAKE_CURRENT_SOURCE_DIR}/resources/account_template.xml
    XML 109 ${CMAKE_CURRENT_SOURCE_DIR}/resources/dialog_parameters_template.xml)
