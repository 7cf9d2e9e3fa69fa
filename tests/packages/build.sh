# What an embedder does with libtavrin-dev: its examples, as their README has it.
cp -r /usr/share/doc/tavrin/examples .
cd examples
cmake -S . -B build
cmake --build build
(cd build && ./collector load 3 && ./read_result load.ztbin | wc -l | grep -x 3)
c++ -std=c++20 collector.cpp -o collector $(pkg-config --cflags --libs tavrin)
c++ -std=c++20 -shared -fPIC count_writer.cpp -o libcount_writer.so $(pkg-config --cflags --libs tavrin)
cc -std=c11 read_result.c -o read_result $(pkg-config --cflags --libs tavrin-reader)
./collector load 5
./read_result load.ztbin | wc -l | grep -x 5
tavrin report --plugin ./libcount_writer.so -w count -o run ../recorded.jsonl
test -s run.count
