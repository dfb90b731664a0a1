# Which commit the tree is, for programs and releases that must name it.

# Sets `commit` (12 digits, " with changes" behind them where the tree is not as committed) and `commit_time` (seconds
# since 1970). Outside a git work tree of its own they are "unknown" and 0. A copy of a tree is told by STEWARD_COMMIT
# and SOURCE_DATE_EPOCH in the environment, which hold over what git says.
function(look_up_commit folder)
    foreach(question IN ITEMS "root;rev-parse;--show-toplevel" "digits;rev-parse;--short=12;HEAD"
                              "time;log;-1;--format=%ct" "changes;status;--porcelain;--untracked-files=no")
        list(POP_FRONT question name)
        execute_process(COMMAND git ${question} WORKING_DIRECTORY ${folder}
            OUTPUT_VARIABLE ${name} OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE result)
        if(result)
            set(root "")
            break()
        endif()
    endforeach()
    file(REAL_PATH ${folder} folder)
    if(NOT root STREQUAL folder)
        set(digits unknown)
        set(time 0)
    elseif(changes)
        string(APPEND digits " with changes")
    endif()
    if(NOT "$ENV{STEWARD_COMMIT}" STREQUAL "")
        set(digits $ENV{STEWARD_COMMIT})
    endif()
    if(NOT "$ENV{SOURCE_DATE_EPOCH}" STREQUAL "")
        set(time $ENV{SOURCE_DATE_EPOCH})
    endif()
    set(commit ${digits} PARENT_SCOPE)
    set(commit_time ${time} PARENT_SCOPE)
endfunction()
