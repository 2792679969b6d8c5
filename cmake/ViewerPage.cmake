# Makes one C++ source of the viewer's page: cmake -DVIEWER=folder -DOUTPUT=file.cpp -P ViewerPage.cmake
# The modules and shaders go in as they are, each in an element of its own; page.html joins them in the browser.
cmake_minimum_required(VERSION 3.25)

file(READ "${VIEWER}/page.html" page)
file(READ "${VIEWER}/page.css" css)
file(GLOB modules "${VIEWER}/*.js" "${VIEWER}/*.glsl")
set(scripts "")
foreach(module IN LISTS modules)
    get_filename_component(name "${module}" NAME)
    file(READ "${module}" text)
    string(APPEND scripts "<script type=\"text/plain\" data-module=\"viewer/${name}\">\n${text}</script>\n")
endforeach()
string(REPLACE "/*PAGE_CSS*/\n" "${css}" page "${page}")
string(REPLACE "<!--MODULES-->\n" "${scripts}" page "${page}")
string(FIND "${page}" "<!--SCANS-->\n" cut)
if(cut LESS 0)
    message(FATAL_ERROR "page.html has no place for the scans")
endif()

# A string literal has a limit in the standard, so the page is several of them.
function(add_literals out text)
    set(literals "")
    string(LENGTH "${text}" length)
    set(at 0)
    while(at LESS length)
        string(SUBSTRING "${text}" ${at} 8000 part)
        string(APPEND literals "R\"page~(${part})page~\"\n")
        math(EXPR at "${at} + 8000")
    endwhile()
    set(${out} "${literals}" PARENT_SCOPE)
endfunction()

string(SUBSTRING "${page}" 0 ${cut} head)
math(EXPR cut "${cut} + 13")
string(SUBSTRING "${page}" ${cut} -1 tail)
add_literals(head "${head}")
add_literals(tail "${tail}")
file(WRITE "${OUTPUT}" "#include \"scan/view/page.h\"

namespace brisko::scan {

ViewPage viewPage() {
    return {\n${head}, ${tail}};
}

}  // namespace brisko::scan
")
