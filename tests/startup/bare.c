// The least that a program on the switch's libraries can be: what every start costs.
int main(void) {
    return 0;
}
