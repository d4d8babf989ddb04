#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>
#include <algorithm>
#include <time.h>
#include <unistd.h>
#include <fcntl.h>
#include <sys/mman.h>
extern "C" uint64_t avx2(const void*,size_t); extern "C" uint64_t avx512(const void*,size_t);
static double now(){timespec t;clock_gettime(CLOCK_THREAD_CPUTIME_ID,&t);return t.tv_sec*1e3+t.tv_nsec*1e-6;}
int main(){ size_t N=24000000; int fd=open("/tmp/x/data",O_RDWR|O_CREAT,0600); ftruncate(fd,0);{std::vector<char> z(N,3);write(fd,z.data(),N);}
 char* b=(char*)aligned_alloc(1<<21,1<<25); madvise(b,1<<25,MADV_HUGEPAGE); memset(b,1,1<<25);
 volatile uint64_t s=0;
 for(size_t piece: {size_t(64)<<10,size_t(256)<<10,size_t(1)<<20,size_t(4)<<20}) for(int k=0;k<3;++k){ std::vector<double> T; for(int r=0;r<101;++r){double t=now(); for(size_t o=0;o<N;o+=piece){size_t n=std::min(piece,N-o); pread(fd,b+o,n,o); for(size_t q=0;q<n;q+=65536){size_t m=std::min<size_t>(65536,n-q); if(k==1) s+=avx2(b+o+q,m); if(k==2) s+=avx512(b+o+q,m);} } T.push_back(now()-t);} std::sort(T.begin(),T.end()); printf("%zuK %s %.2f q25 %.2f min %.2f\n",piece>>10,k==0?"none":k==1?"avx2":"avx512",T[50],T[25],T[0]);}
}
