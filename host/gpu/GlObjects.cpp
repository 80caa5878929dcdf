#include "host/gpu/GlObjects.h"

#include <GLES3/gl3.h>

#include <algorithm>
#include <array>
#include <sstream>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

using Proc::EffectException;

namespace {

/// One triangle that covers everything; its corners follow from their numbers.
constexpr char VERTEX_SHADER[] = R"(#version 300 es
void main() {
    gl_Position = vec4(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0, 0.0, 1.0);
}
)";

/// What OpenGL calls a format.
struct FormatWords {
    GLenum internal;
    GLenum external;
    GLenum type;
    int bytes;
};

FormatWords WordsOf(GpuFormat format) {
    switch (format) {
        case GpuFormat::RGBA8:
            return {GL_RGBA8, GL_RGBA, GL_UNSIGNED_BYTE, 4};
        case GpuFormat::RGBA16:
            return {GL_RGBA16UI, GL_RGBA_INTEGER, GL_UNSIGNED_SHORT, 8};
        case GpuFormat::FLOATS:
            return {GL_RGBA32F, GL_RGBA, GL_FLOAT, 16};
    }
    TARSEL_THROW(EffectException, "There is no such format of textures");
}

int64 BytesOf(GpuFormat format, int width, int height) {
    return int64{width} * height * WordsOf(format).bytes;
}

std::string SizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

GLuint Compile(GLenum kind, char const* text) {
    GLuint const shader = glCreateShader(kind);
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint compiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled) return shader;
    std::array<char, 512> log{};
    glGetShaderInfoLog(shader, static_cast<GLsizei>(log.size()), nullptr, log.data());
    glDeleteShader(shader);
    TARSEL_THROW(EffectException, std::string("A shader can't be compiled: ") + log.data());
}

GLuint Link(char const* text) {
    GLuint const program = glCreateProgram();
    GLuint const vertex = Compile(GL_VERTEX_SHADER, VERTEX_SHADER);
    glAttachShader(program, vertex);
    glDeleteShader(vertex);
    GLuint fragment = 0;
    try {
        fragment = Compile(GL_FRAGMENT_SHADER, text);
    } catch (...) {
        glDeleteProgram(program);
        throw;
    }
    glAttachShader(program, fragment);
    glDeleteShader(fragment);
    glLinkProgram(program);
    GLint linked = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (linked) return program;
    std::array<char, 512> log{};
    glGetProgramInfoLog(program, static_cast<GLsizei>(log.size()), nullptr, log.data());
    glDeleteProgram(program);
    TARSEL_THROW(EffectException, std::string("A shader can't be linked: ") + log.data());
}

void SetInts(GLuint program, GpuDraw::Ints const& ints) {
    GLint const place = glGetUniformLocation(program, ints.uniform);
    if (ints.values.size() == 1) glUniform1iv(place, 1, ints.values.data());
    if (ints.values.size() == 2) glUniform2iv(place, 1, ints.values.data());
    if (ints.values.size() == 4) glUniform4iv(place, 1, ints.values.data());
}

}  // namespace

GlObjects::GlObjects() {
    glGenFramebuffers(1, &targetBuffer);
    glGenFramebuffers(1, &sourceBuffer);
    glGenVertexArrays(1, &vertices);
    glBindVertexArray(vertices);
    // Pictures are what they are to the last bit.
    glDisable(GL_DITHER);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    Check("The GPU device can't be set up");
}

GlObjects::~GlObjects() {
    ShrinkPool(0);
    for (auto const& [text, program] : programs) glDeleteProgram(program);
    glDeleteVertexArrays(1, &vertices);
    glDeleteFramebuffers(1, &sourceBuffer);
    glDeleteFramebuffers(1, &targetBuffer);
}

void GlObjects::Check(std::string const& what) {
    GLenum const first = glGetError();
    if (first == GL_NO_ERROR) return;
    // A lost context repeats its error for ever.
    for (int i = 0; i < 16 && glGetError() != GL_NO_ERROR; ++i) continue;
    if (first == GL_OUT_OF_MEMORY) TARSEL_THROW(EffectException, what + ": GPU memory is used up");
    std::ostringstream text;
    text << what << ": OpenGL error 0x" << std::hex << first;
    TARSEL_THROW(EffectException, text.str());
}

unsigned GlObjects::TakeTexture(GpuFormat format, int width, int height, bool& reused) {
    auto const fits = [&](Pooled const& texture) {
        return texture.format == format && texture.width == width && texture.height == height;
    };
    auto const found = std::find_if(pool.rbegin(), pool.rend(), fits);
    reused = found != pool.rend();
    if (reused) {
        unsigned const name = found->name;
        pool.erase(std::next(found).base());
        pooledBytes -= BytesOf(format, width, height);
        return name;
    }
    GLuint name = 0;
    auto const make = [&] {
        glGenTextures(1, &name);
        glBindTexture(GL_TEXTURE_2D, name);
        glTexStorage2D(GL_TEXTURE_2D, 1, WordsOf(format).internal, width, height);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    };
    make();
    GLenum error = glGetError();
    if (error == GL_OUT_OF_MEMORY && !pool.empty()) {
        glDeleteTextures(1, &name);
        ShrinkPool(0);
        glFinish();
        make();
        error = glGetError();
    }
    if (error == GL_NO_ERROR) return name;
    glDeleteTextures(1, &name);
    TARSEL_THROW(EffectException, "Can't allocate a GPU texture of " + SizeText(width, height) +
                                      (error == GL_OUT_OF_MEMORY ? ": GPU memory is used up"
                                                                 : ": OpenGL error " + std::to_string(error)));
}

void GlObjects::GiveTexture(unsigned name, GpuFormat format, int width, int height) {
    pool.push_back({name, format, width, height});
    pooledBytes += BytesOf(format, width, height);
    ShrinkPool(POOL_BYTES);
}

void GlObjects::ShrinkPool(int64 bytes) {
    while (!pool.empty() && pooledBytes > bytes) {
        Pooled const& oldest = pool.front();
        glDeleteTextures(1, &oldest.name);
        pooledBytes -= BytesOf(oldest.format, oldest.width, oldest.height);
        pool.pop_front();
    }
}

void GlObjects::Write(unsigned name, GpuFormat format, GpuArea const& area, void const* from, std::ptrdiff_t stride) {
    FormatWords const words = WordsOf(format);
    glBindTexture(GL_TEXTURE_2D, name);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, static_cast<GLint>(stride / words.bytes));
    glTexSubImage2D(GL_TEXTURE_2D, 0, area.x, area.y, area.width, area.height, words.external, words.type, from);
    Check("Can't write a GPU texture of " + SizeText(area.width, area.height));
}

void GlObjects::Read(unsigned name, GpuArea const& area, u8* to, std::ptrdiff_t stride) {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, sourceBuffer);
    glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, name, 0);
    glPixelStorei(GL_PACK_ROW_LENGTH, static_cast<GLint>(stride / 4));
    glReadPixels(area.x, area.y, area.width, area.height, GL_RGBA, GL_UNSIGNED_BYTE, to);
    Check("Can't read a GPU texture of " + SizeText(area.width, area.height));
}

void GlObjects::Copy(unsigned from, GpuArea const& area, unsigned to) {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, sourceBuffer);
    glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, from, 0);
    glBindTexture(GL_TEXTURE_2D, to);
    glCopyTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, area.x, area.y, area.width, area.height);
    Check("Can't copy a GPU texture of " + SizeText(area.width, area.height));
}

void GlObjects::BindTarget(unsigned name) {
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, targetBuffer);
    glFramebufferTexture2D(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, name, 0);
    if (glCheckFramebufferStatus(GL_DRAW_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE)
        TARSEL_THROW(EffectException, "The GPU can't draw to a texture of this format");
}

void GlObjects::Clear(unsigned name, float red, float green, float blue, float alpha) {
    BindTarget(name);
    glClearColor(red, green, blue, alpha);
    glClear(GL_COLOR_BUFFER_BIT);
    Check("Can't paint a GPU texture");
}

void GlObjects::Draw(GpuDraw const& draw, std::vector<unsigned> const& names, unsigned target) {
    GLuint const program = GetProgram(draw.shader);
    BindTarget(target);
    glUseProgram(program);
    for (std::size_t i = 0; i < names.size(); ++i) {
        glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(i));
        glBindTexture(GL_TEXTURE_2D, names[i]);
        glUniform1i(glGetUniformLocation(program, draw.inputs[i].sampler), static_cast<GLint>(i));
    }
    glActiveTexture(GL_TEXTURE0);
    for (GpuDraw::Ints const& ints : draw.ints) SetInts(program, ints);
    glViewport(draw.area.x, draw.area.y, draw.area.width, draw.area.height);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    Check("Can't draw to a GPU texture");
}

unsigned GlObjects::GetProgram(char const* shader) {
    auto const found = programs.find(shader);
    if (found != programs.end()) return found->second;
    GLuint const program = Link(shader);
    programs.emplace(shader, program);
    return program;
}

}  // namespace Tarsel::Host
