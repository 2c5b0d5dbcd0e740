// Does nothing: WriteVersionedFile copies it and writes a version resource
// into the copy, which needs a real program file to start from.
int main() { return 0; }
