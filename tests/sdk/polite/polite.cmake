
# Added to the project of the manual: a second implementation, with a library that it needs and so is delivered with.
add_library(greeting SHARED greeting.cpp)
set_target_properties(greeting PROPERTIES PREFIX "")

zuvia_add_implementation(polite
  VERSION 2.0.0.47
  DESCRIPTION "Says \"hello\""
  SOURCES Polite.cpp
  COMPANIONS greeting notes.txt
  URL https://packages.example/polite)
target_link_libraries(polite PRIVATE greeting)
