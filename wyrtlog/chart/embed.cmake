# Makes a C++ source of the page's fixed parts:
#   cmake -DOUTPUT=FILE -DPAGE=FOLDER -DDYGRAPHS=FOLDER -DLICENCE=FILE -P embed.cmake
set(out "// Made by wyrtlog/chart/embed.cmake.\n#include \"wyrtlog/chart/sources.h\"\n")

function(embed name file)
    file(READ ${file} text)
    foreach(end ")wyrt\"" "</script>" "</style>") # of the C++ text, of the element of the page
        string(FIND "${text}" "${end}" found)
        if(NOT found EQUAL -1 AND NOT (name STREQUAL "PageHtml" AND end MATCHES "^<"))
            message(FATAL_ERROR "${file} has ${end}")
        endif()
    endforeach()
    set(out "${out}const std::string_view ${name} = R\"wyrt(${text})wyrt\";\n" PARENT_SCOPE)
endfunction()

embed(PageHtml ${PAGE}/page.html)
embed(PageCss ${PAGE}/page.css)
embed(PageScript ${PAGE}/page.js)
embed(DygraphsCss ${DYGRAPHS}/dygraph.min.css)
embed(DygraphsScript ${DYGRAPHS}/dygraph.min.js)
embed(DygraphsLicence ${LICENCE})
file(WRITE ${OUTPUT} "${out}")
