# Writes WebFiles.cpp from the page's files: cmake -DOUT=... -DFOLDER=... -DFILES=a;b -P EmbedWeb.cmake
set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")

string(REPEAT "......." 16 line) # as many bytes, each written '\x00',
set(arrays "")
set(rows "")
set(number 0)
foreach(name IN LISTS FILES)
  file(READ ${FOLDER}/${name} bytes HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  string(REGEX REPLACE "(${line})" "\\1\n    " bytes "${bytes}")
  string(APPEND arrays "constexpr char file${number}[] = {\n    ${bytes}};\n")
  string(REGEX MATCH "[^.]+$" extension ${name})
  set(path /${name})
  if(name STREQUAL "index.html")
    set(path /)
  endif()
  string(APPEND rows "    {\"${path}\", \"${type_${extension}}\", {file${number}, sizeof file${number}}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUT} "#include \"apps/cvhost/web/WebFiles.h\"

namespace cvhost::web {
namespace {

${arrays}
constexpr WebFile files[] = {
${rows}};

}  // namespace

std::span<const WebFile> webFiles() { return files; }

}  // namespace cvhost::web
")
