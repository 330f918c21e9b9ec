/* python.exe, which is nothing but this: the interpreter is python27.dll. */
int Py_Main(int argc, char** argv);

int main(int argc, char** argv) {
    return Py_Main(argc, argv);
}
