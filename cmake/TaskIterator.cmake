# The part of the process table that runs inside the Linux kernel: Frameworks/HVKPlatform/linux/bpf. It needs clang (for
# the bpf target), bpftool and the headers of libbpf where it is built, and the kernel's own type information where it runs. Without
# them the processes come from /proc alone. What is built needs no library at run time.

set(HVK_BPF_AVAILABLE OFF)
if(NOT APPLE AND HVK_BPF AND NOT CMAKE_CROSSCOMPILING)
    find_program(HVK_BPF_CLANG NAMES clang-16 clang clang-19 clang-18 clang-17 clang-15 clang-14)
    find_program(HVK_BPFTOOL NAMES bpftool PATHS /usr/sbin /sbin /usr/local/sbin)
    find_path(HVK_LIBBPF_INCLUDE_DIR bpf/skel_internal.h)
    set(missing)
    foreach(part HVK_BPF_CLANG:clang HVK_BPFTOOL:bpftool HVK_LIBBPF_INCLUDE_DIR:libbpf)
        string(REPLACE ":" ";" part ${part})
        list(GET part 0 variable)
        list(GET part 1 name)
        if(NOT ${variable})
            list(APPEND missing ${name})
        endif()
    endforeach()
    if(missing)
        list(JOIN missing ", " missing)
        message(NOTICE "-- Building without the task iterator, processes are read from /proc: ${missing} not found")
    else()
        set(HVK_BPF_AVAILABLE ON)
    endif()
endif()

# Makes `object`, which holds the program for the kernel and the functions of TaskProgram.h, from the sources in
# `sources`; what lies between goes to `directory`. The C is compiled by the same clang, so that the project's own
# language stays C++ alone.
function(hvk_add_task_program object sources directory)
    set(frameworks ${PROJECT_SOURCE_DIR}/Frameworks)
    set(program ${directory}/TaskIterator.bpf.o)
    set(linked ${directory}/TaskIterator.linked.o)
    set(skeleton ${directory}/TaskIterator.lskel.h)
    set(warnings -Wall -Wextra)
    if(HVK_WARNINGS_AS_ERRORS)
        list(APPEND warnings -Werror)
    endif()
    file(MAKE_DIRECTORY ${directory})
    add_custom_command(OUTPUT ${program}
        COMMAND ${HVK_BPF_CLANG} -target bpf -O2 -g ${warnings} -I ${frameworks} -isystem ${HVK_LIBBPF_INCLUDE_DIR}
            -MD -MF ${program}.d -MT ${program} -c ${sources}/TaskIterator.bpf.c -o ${program}
        DEPENDS ${sources}/TaskIterator.bpf.c DEPFILE ${program}.d
        COMMENT "Building the task iterator's half for the kernel" VERBATIM)
    # Linking it once leaves the types in and the line tables for debuggers out.
    add_custom_command(OUTPUT ${skeleton}
        COMMAND ${HVK_BPFTOOL} gen object ${linked} ${program}
        COMMAND ${HVK_BPFTOOL} gen skeleton -L ${linked} name TaskIterator > ${skeleton}
        DEPENDS ${program} BYPRODUCTS ${linked} COMMENT "Generating TaskIterator.lskel.h" VERBATIM)
    add_custom_command(OUTPUT ${object}
        COMMAND ${HVK_BPF_CLANG} -std=gnu11 -O2 -g -fPIC -fvisibility=hidden ${warnings} -I ${frameworks}
            -isystem ${directory} -isystem ${HVK_LIBBPF_INCLUDE_DIR} -MD -MF ${object}.d -MT ${object}
            -c ${sources}/TaskProgram.c -o ${object}
        DEPENDS ${sources}/TaskProgram.c ${skeleton} DEPFILE ${object}.d
        COMMENT "Building the task iterator's loader" VERBATIM)
endfunction()
