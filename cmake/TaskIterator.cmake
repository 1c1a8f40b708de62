# The part of the process table that runs inside the Linux kernel: Frameworks/HVKPlatform/linux/bpf. It needs clang (for
# the bpf target), bpftool and libbpf where it is built, and the kernel's own type information where it runs. Without
# them the processes come from /proc alone.

set(HVK_BPF_AVAILABLE OFF)
if(NOT APPLE AND HVK_BPF)
    find_program(HVK_BPF_CLANG NAMES clang-16 clang clang-19 clang-18 clang-17 clang-15 clang-14)
    find_program(HVK_BPFTOOL NAMES bpftool PATHS /usr/sbin /sbin /usr/local/sbin)
    # The static library: its messages can be silenced for us without silencing them for the host.
    find_library(HVK_LIBBPF NAMES libbpf.a)
    find_path(HVK_LIBBPF_INCLUDE_DIR bpf/bpf_helpers.h)
    find_library(HVK_LIBELF elf)
    find_library(HVK_LIBZ z)
    set(missing)
    foreach(part HVK_BPF_CLANG:clang HVK_BPFTOOL:bpftool HVK_LIBBPF:libbpf.a HVK_LIBBPF_INCLUDE_DIR:bpf/bpf_helpers.h
                 HVK_LIBELF:libelf HVK_LIBZ:libz)
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

# Compiles bpf/<name>.bpf.c of the Linux adapter to a header that carries it, <directory>/<name>.skel.h.
function(hvk_add_bpf_skeleton name source directory include)
    set(object ${directory}/${name}.bpf.o)
    set(skeleton ${directory}/${name}.skel.h)
    file(MAKE_DIRECTORY ${directory})
    add_custom_command(OUTPUT ${object}
        COMMAND ${HVK_BPF_CLANG} -target bpf -O2 -g -Wall -Wextra -Werror -I ${include} -isystem ${HVK_LIBBPF_INCLUDE_DIR}
            -MD -MF ${object}.d -MT ${object} -c ${source} -o ${object}
        DEPENDS ${source} DEPFILE ${object}.d COMMENT "Building BPF object ${name}" VERBATIM)
    # Linking it once leaves the types in and the line tables for debuggers out.
    add_custom_command(OUTPUT ${skeleton}
        COMMAND ${HVK_BPFTOOL} gen object ${directory}/${name}.linked.o ${object}
        COMMAND ${HVK_BPFTOOL} gen skeleton ${directory}/${name}.linked.o name ${name} > ${skeleton}
        DEPENDS ${object} BYPRODUCTS ${directory}/${name}.linked.o COMMENT "Generating ${name}.skel.h" VERBATIM)
endfunction()
