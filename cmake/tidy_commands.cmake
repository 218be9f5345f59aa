# Copies compile_commands.json from FROM to TO without the flags that only GCC knows.
file(READ ${FROM}/compile_commands.json commands)
string(REPLACE " -fno-lifetime-dse " " " commands "${commands}")
file(WRITE ${TO}/compile_commands.json "${commands}")
