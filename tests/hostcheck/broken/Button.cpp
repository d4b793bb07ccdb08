// A host whose last_button_index does not lie where an int may lie. It is data, so it has a library of its own.
alignas(int) char button_room[2 * sizeof(int)] = {};
__asm__(
    ".globl last_button_index\n.set last_button_index, button_room + 1\n.type last_button_index, @object\n.size "
    "last_button_index, 4");
