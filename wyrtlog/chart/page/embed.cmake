# Makes a C++ source of the page's fixed parts. The scripts become one function, so that they share their names with
# each other and with nobody else:
#   cmake -DOUTPUT=FILE -DPAGE=FOLDER -DDYGRAPHS=FOLDER -DLICENCE=FILE -P embed.cmake
set(out "// Made by wyrtlog/chart/page/embed.cmake.\n#include \"wyrtlog/chart/sources.h\"\n")

function(embed name)
    set(text "")
    foreach(file ${ARGN})
        file(READ ${file} part)
        string(APPEND text "${part}")
    endforeach()
    if(name STREQUAL "PageScript")
        set(text "'use strict';\n(function () {\n${text}})();\n")
    endif()
    foreach(end ")wyrt\"" "</script>" "</style>") # of the C++ text, of the element of the page
        string(FIND "${text}" "${end}" found)
        if(NOT found EQUAL -1 AND NOT (name STREQUAL "PageHtml" AND end MATCHES "^<"))
            message(FATAL_ERROR "${ARGN}: ${end}")
        endif()
    endforeach()
    set(out "${out}const std::string_view ${name} = R\"wyrt(${text})wyrt\";\n" PARENT_SCOPE)
endfunction()

embed(PageHtml ${PAGE}/page.html)
embed(PageCss ${PAGE}/page.css)
set(scripts data texts view draw input main)
list(TRANSFORM scripts REPLACE "(.+)" "${PAGE}/\\1.js")
embed(PageScript ${scripts})
embed(DygraphsCss ${DYGRAPHS}/dygraph.min.css)
embed(DygraphsScript ${DYGRAPHS}/dygraph.min.js)
embed(DygraphsLicence ${LICENCE})
file(WRITE ${OUTPUT} "${out}")
