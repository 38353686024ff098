# What zuvia_bench --json writes is one array: an object for each row, with these members and no other. One of the two
# rows that are asked for has a target, the other has none.
#
#   cmake -DBENCH=<zuvia_bench.exe> -DEMULATOR=<what runs it> -P json.cmake

set(asTold "limitedBy STRING|name STRING|ours NUMBER|ratio NUMBER|target NUMBER|unit STRING|yardstick NUMBER")
string(REPLACE "target NUMBER" "target NULL" asToldWithoutTarget "${asTold}")

execute_process(COMMAND ${EMULATOR} "${BENCH}" --json --only "^isLoaded$|copies its text" --repetitions 1 --slack 100
  OUTPUT_VARIABLE document COMMAND_ERROR_IS_FATAL ANY)

# described(INDEX RESULT): the members of a row in the order of their names, each with its type
function(described index result)
  string(JSON count LENGTH "${document}" ${index})
  math(EXPR last "${count} - 1")
  foreach(place RANGE ${last})
    string(JSON member MEMBER "${document}" ${index} ${place})
    string(JSON type TYPE "${document}" ${index} "${member}")
    list(APPEND members "${member} ${type}")
  endforeach()
  list(SORT members)
  list(JOIN members "|" text)
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

string(JSON type TYPE "${document}")
string(JSON count LENGTH "${document}")
if(NOT "${type} ${count}" STREQUAL "ARRAY 2")
  message(FATAL_ERROR "not an array of two rows:\n${document}")
endif()
described(0 first)
described(1 second)
if(NOT first STREQUAL asTold OR NOT second STREQUAL asToldWithoutTarget)
  message(FATAL_ERROR "the rows are of\n${first}\n${second}\nand not of\n${asTold}\n${asToldWithoutTarget}")
endif()
