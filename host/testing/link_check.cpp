// Links a whole library with what it says it needs, to show that it needs nothing else. Never run.
int main() {
    return 0;
}
