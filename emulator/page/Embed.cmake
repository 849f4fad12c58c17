# Usage: cmake -DFOLDER=… -DOUT=… -P Embed.cmake
#
# Writes a source with the content of each file of a folder.

file(GLOB files RELATIVE ${FOLDER} ${FOLDER}/*)
set(rows "")
set(arrays "")
set(number 0)
foreach(file ${files})
  file(READ ${FOLDER}/${file} bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(APPEND arrays "constexpr unsigned char kFile${number}[] = {${bytes}};\n")
  string(APPEND rows "        {\"${file}\", {reinterpret_cast<const char*>(kFile${number}),"
    " sizeof(kFile${number})}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUT} "#include \"emulator/page/Assets.h\"\n\nnamespace emulator::page {\nnamespace {\n\n"
  "${arrays}\n}  // namespace\n\nconst std::vector<Asset>& assets() {\n"
  "    static const std::vector<Asset> all = {\n${rows}    };\n    return all;\n}\n\n"
  "}  // namespace emulator::page\n")
