# shellcheck shell=bash disable=SC2034,SC2154
# What a boot test can switch on and off: a container of the system in $root, or, after put_on_disk, a virtual machine
# that has it as its disk. To be sourced; root=, work=, cache= and log= are the caller's. While a machine is on, its disk
# is its own; otherwise the system is to be seen in $root.
machine=      # the parent of what dies when the power is cut
disk=         # the virtual machine's, none while a container is what is booted
kernel_command=(root=/dev/vda rw console=ttyS0 panic=-1)
accelerator=()

# In the machine a line is told by writing to the first, out here it is read from the second.
told_inside() { [ -z "$disk" ] && echo /reached || echo /dev/ttyS1; }
told_outside() { [ -z "$disk" ] && echo "$root/reached" || echo "$work/line.out"; }

why_no_virtual_machine() {
    if [ "$(dpkg --print-architecture)" != amd64 ]; then
        echo "its machine is one of amd64"
    elif ! command -v qemu-system-x86_64 >/dev/null; then
        echo "qemu-system-x86_64 is missing"
    fi
}

# A kernel with its initial file system, taken from a bare system of its own; the device itself needs no modules.
need_kernel() {
    [ ! -d "$cache/kernel" ] || return 0
    step "a kernel for the virtual machine, kept in $cache"
    rm -rf --one-file-system "$cache/new"
    cp -a "$cache/bare" "$cache/new"
    local root=$cache/new
    mount -t proc proc "$root/proc"
    install linux-image-cloud-amd64
    umount "$root/proc"
    mkdir -p "$cache/new_kernel"
    cp -L "$root"/boot/vmlinuz-* "$cache/new_kernel/vmlinuz"
    cp -L "$root"/boot/initrd.img-* "$cache/new_kernel/initrd"
    rm -rf --one-file-system "$cache/new"
    mv "$cache/new_kernel" "$cache/kernel"
}

emulator() { # what it waits for at most, in seconds, and more OPTIONS
    local seconds=$1
    shift
    exec timeout -s KILL "$seconds" qemu-system-x86_64 -smp 2 -m 512 -display none -nodefaults -no-reboot \
        -kernel "$cache/kernel/vmlinuz" -initrd "$cache/kernel/initrd" -serial "file:$work/console" "$@" \
        </dev/null >>"$log" 2>&1
}

# /dev/kvm where it runs a kernel, which it may not in a machine that is virtual itself; otherwise all is emulated.
choose_accelerator() {
    accelerator=(-accel "tcg,thread=multi")
    local kvm=(-accel kvm -cpu "host,-arch-capabilities")
    rm -f "$work/console"
    [ ! -w /dev/kvm ] || (emulator 10 "${kvm[@]}" -append "${kernel_command[*]} init=/none") || true
    if grep -qs 'Linux version' "$work/console"; then
        accelerator=("${kvm[@]}")
    fi
    step "the virtual machine runs by: ${accelerator[1]}"
}

# Moves the system in $root to a disk, for a virtual machine.
put_on_disk() {
    choose_accelerator
    disk=$work/disk
    truncate -s 3G "$disk"
    mkfs.ext4 -q -F -d "$root" "$disk" >>"$log"
    rm -rf --one-file-system "$root"
    mkdir "$root"
    mount -o loop "$disk" "$root"
}
forget_disk() {
    [ -n "$disk" ] || return 0
    umount "$root"
    rm -f "$disk"
    disk=
}

power_on() {
    if [ -z "$disk" ]; then
        rm -f "$root/reached"
        mkfifo "$root/reached"
        unshare --pid --fork --kill-child --mount-proc systemd-nspawn -q --directory="$root" --boot --register=no \
            --keep-unit --private-network --console=pipe </dev/null >>"$log" 2>&1 &
    else
        umount "$root"
        rm -f "$work"/line.*
        mkfifo "$work/line.in" "$work/line.out"
        emulator 300 "${accelerator[@]}" -append "${kernel_command[*]}" -drive "file=$disk,format=raw,if=virtio" \
            -chardev "pipe,id=line,path=$work/line" -serial chardev:line &
    fi
    machine=$!
}

# Gives the first line that the machine tells.
told() { timeout 240 head -n 1 "$(told_outside)" | tr -d '\r'; }

# To the end of a shutdown of its own.
wait_for_power_off() {
    local code=0
    wait "$machine" || code=$?
    power_is_off
    [ $code -eq 0 ] || fail "the machine ends with $code"
}

# What the machine has in its memory only is lost with it.
cut_power() {
    pkill -9 -P "$machine"
    wait "$machine" 2>/dev/null || true # by then nobody of a container's process namespace is left
    power_is_off
}

power_is_off() {
    machine=
    if [ -z "$disk" ]; then
        rm -f "$root/reached"
    else
        cat "$work/console" >>"$log"
        mount -o loop "$disk" "$root"
    fi
}
