// Exists for its precompiled headers, which the test programs share.
// It tests nothing and is never run.
int main() {}
