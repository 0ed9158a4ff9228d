# Every ```cpp block of the README is a complete program: each is compiled against the library
# and run as a test ("readme_example_N"), so that the README cannot fall behind the code. The
# blocks are read again whenever the README changes.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/README.md)
file(READ ${PROJECT_SOURCE_DIR}/README.md readme)
# Semicolons would split CMake's lists: they travel as a marker until the code is written.
string(REPLACE ";" "@SEMICOLON@" readme "${readme}")
string(REGEX MATCHALL "```cpp\n[^`]*```" readme_blocks "${readme}")
set(readme_index 0)
foreach(block IN LISTS readme_blocks)
  math(EXPR readme_index "${readme_index} + 1")
  string(REGEX REPLACE "^```cpp\n" "" code "${block}")
  string(REGEX REPLACE "```$" "" code "${code}")
  string(REPLACE "@SEMICOLON@" ";" code "${code}")
  set(source ${CMAKE_CURRENT_BINARY_DIR}/readme/example_${readme_index}.cpp)
  # Written through a copy that changes only with the text, so that an unchanged example is not
  # rebuilt.
  file(WRITE ${source}.new "${code}")
  configure_file(${source}.new ${source} COPYONLY)
  add_executable(readme_example_${readme_index} ${source})
  target_link_libraries(readme_example_${readme_index} PRIVATE platform platform_warnings)
  # The examples check their claims with assert: keep it live in optimised builds too.
  target_compile_options(readme_example_${readme_index} PRIVATE -UNDEBUG)
  add_test(NAME readme_example_${readme_index} COMMAND readme_example_${readme_index}
           WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/readme)
  set_tests_properties(readme_example_${readme_index} PROPERTIES LABELS readme TIMEOUT 60)
endforeach()
if(readme_index EQUAL 0)
  message(FATAL_ERROR "README.md holds no ```cpp example")
endif()
