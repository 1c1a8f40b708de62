# The resources as the library finds them (HVKBase/Resources.h): the build has them where the installed tree has them.
# What is written by hand is linked, recipes are made of their sources in resources/recipes/.

find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)
find_program(HVK_OPENSSL openssl REQUIRED)

set(HVK_RESOURCES ${PROJECT_BINARY_DIR}/share/HVKStatisticsKit CACHE INTERNAL "")
set(resources ${CMAKE_CURRENT_SOURCE_DIR}/HVKStatistics/resources)
if(IS_SYMLINK ${HVK_RESOURCES})
    file(REMOVE ${HVK_RESOURCES})
endif()
file(MAKE_DIRECTORY ${HVK_RESOURCES})
file(GLOB entries RELATIVE ${resources} CONFIGURE_DEPENDS ${resources}/*)
list(REMOVE_ITEM entries recipes)
foreach(entry ${entries})
    file(CREATE_LINK ${resources}/${entry} ${HVK_RESOURCES}/${entry} SYMBOLIC)
endforeach()

set(recipes)
set(encoder ${PROJECT_SOURCE_DIR}/cmake/encode-recipe)
file(GLOB sources CONFIGURE_DEPENDS ${resources}/recipes/*.json)
foreach(source ${sources})
    get_filename_component(model ${source} NAME)
    string(REGEX REPLACE "\\.json$" "" model ${model})
    set(recipe ${HVK_RESOURCES}/${model}.recipe)
    add_custom_command(OUTPUT ${recipe}
        COMMAND ${CMAKE_COMMAND} -E env OPENSSL=${HVK_OPENSSL} ${Python3_EXECUTABLE} ${encoder} ${source} ${recipe}
        DEPENDS ${source} ${encoder} COMMENT "Enciphering the recipe of ${model}" VERBATIM)
    list(APPEND recipes ${recipe})
endforeach()
add_custom_target(hvk_recipes ALL DEPENDS ${recipes})
add_dependencies(HVKStatistics hvk_recipes)
add_dependencies(hvk_all hvk_recipes)
